// The compressed file of a bundle, which can be cut back to a point where all before it was whole.
#pragma once

#include <sys/types.h>
#include <zlib.h>

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "tolk/base/handle.h"

namespace joinscope {

/// A chain of gzip members (RFC 1952, 2.2), each whole by itself. The file has no name until it is
/// published, so that whatever ends the process leaves nothing half done behind. Where the file
/// system knows no files without a name it has its name from the start, and is removed with this
/// object when it was not published. Every failure is a tolk::IOException whose code is errno.
class BundleFile {
 public:
  /// A file that will be called `path`, for its owner alone. A regular file or a link that has the
  /// name is removed; anything else stays, which fails with EEXIST.
  explicit BundleFile(const std::string& path);
  BundleFile(const BundleFile&) = delete;
  BundleFile& operator=(const BundleFile&) = delete;
  ~BundleFile();

  /// Compresses and writes.
  void write(std::string_view bytes);
  /// Ends a member: what is written so far is whole, `last` being the last of it.
  void mark(std::string last);
  /// How many bytes were taken since the last mark.
  [[nodiscard]] std::size_t sinceMark() const noexcept { return sinceMark_; }
  /// Drops what came after the last mark.
  void cutToMark();
  /// Drops what came after the last mark but one. False when no mark is left, or none but those
  /// that are published already.
  bool dropMark();
  /// What the last mark was given; empty without one.
  [[nodiscard]] std::string last() const { return marks_.empty() ? "" : marks_.back().last; }

  /// Ends the last member and gives the file its name. `safely` waits until it is on the disk.
  void publish(bool safely);
  /// Whether the file has its name from the start, so that it cannot be published twice.
  [[nodiscard]] bool isNamed() const noexcept { return named_; }
  /// After publish(): goes on in a new file without a name, with all up to the last mark.
  void goOn();

 private:
  struct Mark {
    off_t offset;
    std::string last;
  };

  void removeOld();
  void open();
  void compress(int flush);
  void store(const char* bytes, std::size_t count);

  std::string path_;
  std::string name_;  // within the directory
  tolk::UniqueFd directory_;
  tolk::UniqueFd file_;
  bool named_ = false;
  bool published_ = false;
  off_t size_ = 0;
  std::size_t sinceMark_ = 0;
  std::vector<Mark> marks_;
  std::size_t kept_ = 0;  // of the marks: in the published file
  z_stream stream_{};
  std::array<char, 65536> buffer_{};
};

}  // namespace joinscope
