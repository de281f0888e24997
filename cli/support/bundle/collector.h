// Files and folders on their way into a bundle.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <exception>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "cli/support/bundle/bundle_file.h"
#include "cli/support/bundle/notes.h"
#include "cli/support/bundle/redactor.h"
#include "cli/support/bundle/tar_writer.h"
#include "tolk/base/child_process.h"
#include "tolk/base/handle.h"

namespace joinscope {

/// A signal that shall end the process has come.
struct Interrupted : std::exception {};

/// What to do with a file that is larger than the limit.
enum class Oversize { keepStart, keepEnd, leaveOut };

/// Packs what it is given, each under its absolute name with a point in front. No link is followed
/// but those that the caller's own path has in front of its last name, no other file system
/// entered, nothing opened but regular files and folders. What is not packed as it is on the disk
/// is noted, secrets in texts apart.
class Collector {
 public:
  /// Stops when one of the `signals` has come. A bundle of the name `bundle` is not packed.
  Collector(BundleFile& file, TarWriter& writer, Notes& notes, const tolk::HeldSignals& signals,
            std::string bundle)
      : file_(file),
        writer_(writer),
        notes_(notes),
        signals_(signals),
        bundle_(std::move(bundle)) {}

  /// Packs the file, link or folder at `path`. `limit` bytes are left for it and become fewer.
  /// Something that was packed is not packed again. Throws Interrupted, and what BundleFile throws.
  void add(const std::string& path, TextKind kind, Oversize oversize, std::uint64_t& limit);

  /// The name of the last entry that is packed whole.
  [[nodiscard]] const std::string& last() const noexcept { return last_; }
  /// Whether what add() has thrown came in the midst of an entry; all before it is then marked.
  [[nodiscard]] bool insideEntry() const noexcept { return insideEntry_; }

 private:
  struct Place {
    tolk::UniqueFd directory;
    std::string leaf;  // "." for the directory itself
    std::string name;  // absolute
  };
  struct Source {
    int file;
    const struct stat& status;
    const std::string& name;
    TextKind kind;
    std::uint64_t start = 0;
    std::uint64_t size = 0;  // of the part to pack, before secrets are out
    bool searched = true;
  };

  static Place locate(const std::string& path);
  void walk(int directory, const std::string& leaf, const std::string& name, int depth);
  void folder(int directory, const std::string& leaf, const std::string& name, int depth);
  void link(int directory, const std::string& leaf, const std::string& name,
            const struct stat& status, int depth);
  void file(int directory, const std::string& leaf, const std::string& name);
  bool cutToLimit(Source& source);
  void packSmall(Source& source, std::string_view content);
  void packLarge(Source& source);
  void passOver(const Source& source, const std::function<void(std::string_view)>& sink);
  std::string_view readAt(const Source& source, std::uint64_t offset, std::uint64_t most);
  void beginEntry(const std::string& name, const struct stat& status, std::size_t size,
                  const std::string& target = {});
  void endEntry(const std::string& name);
  void stopWhenInterrupted() const;
  void noteError(const std::string& name, int error);

  BundleFile& file_;
  TarWriter& writer_;
  Notes& notes_;
  const tolk::HeldSignals& signals_;
  std::string bundle_;
  std::string last_;
  bool insideEntry_ = false;
  std::set<std::string> packed_;  // what add() was given
  std::string buffer_;

  // Of the add() at work.
  TextKind kind_ = TextKind::plain;
  Oversize oversize_ = Oversize::leaveOut;
  std::uint64_t* limit_ = nullptr;
  dev_t device_ = 0;
};

}  // namespace joinscope
