// Entries of a tar archive, written into a bundle's file.
#pragma once

#include <archive.h>
#include <sys/stat.h>

#include <exception>
#include <memory>
#include <string>
#include <string_view>

#include "cli/support/bundle/bundle_file.h"
#include "tolk/base/handle.h"

namespace joinscope {

/// Writes an archive. Names are bytes and of any length. Owners are numbers: nobody is asked for
/// their names. Throws what BundleFile throws.
class TarWriter {
 public:
  explicit TarWriter(BundleFile& file) : file_(file) { restart(); }
  TarWriter(const TarWriter&) = delete;
  TarWriter& operator=(const TarWriter&) = delete;
  ~TarWriter() { drop(); }

  /// Forgets the entry at work and a failure, and goes on behind what the file holds now.
  void restart();
  /// Begins an entry like the file that `status` is of, with `size` bytes to come; those of a link
  /// are its `target`. Bytes that do not come are NUL.
  void begin(const std::string& name, const struct stat& status, std::size_t size,
             const std::string& target = {});
  void data(std::string_view bytes);
  void end();
  /// Marks the end of the archive.
  void finish();

 private:
  static void release(struct archive* archive) noexcept { archive_write_free(archive); }
  static la_ssize_t take(struct archive* archive, void* self, const void* bytes, std::size_t count);
  void check(la_ssize_t result);
  void drop() noexcept;

  BundleFile& file_;
  std::unique_ptr<struct archive, tolk::Releaser<release>> archive_;
  bool dropping_ = false;       // what the archive still writes goes nowhere
  std::exception_ptr failure_;  // of take(), which may not throw through a library in C
};

}  // namespace joinscope
