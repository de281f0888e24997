// Every step is relative to an open directory and follows no link, so that what others do to the
// tree meanwhile leads nowhere else.
#include "cli/support/bundle/collector.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <memory>
#include <system_error>

#include "cli/support/bundle/secret_files.h"

namespace joinscope {
namespace {

constexpr std::size_t kChunk = std::size_t{1} << 20;
constexpr int kMostDepth = 200;  // each level keeps a descriptor
constexpr char kConfiguration[] = "/etc/orvald/orvald.conf";

void closeDirectory(DIR* directory) noexcept {
  ::closedir(directory);
}
using Directory = std::unique_ptr<DIR, tolk::Releaser<closeDirectory>>;

// The absolute name of an open directory; empty when it has none or a longer one than there can be.
std::string nameOf(int directory) {
  std::array<char, PATH_MAX> name{};
  const std::string link = "/proc/self/fd/" + std::to_string(directory);
  const ssize_t length = ::readlink(link.c_str(), name.data(), name.size());
  return length > 0 ? std::string(name.data(), static_cast<std::size_t>(length)) : "";
}

std::string below(const std::string& folder, std::string_view leaf) {
  return (folder == "/" ? "" : folder) + '/' + std::string(leaf);
}

bool isBelow(std::string_view name, std::string_view folder) {
  return name.starts_with(folder) &&
         (name.size() == folder.size() || folder == "/" || name[folder.size()] == '/');
}

}  // namespace

// A name that stays true: the kernel's for the directory that was opened, whatever is put into its
// path afterwards.
Collector::Place Collector::locate(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  std::string leaf = path.substr(slash + 1);
  const bool isFolder = leaf.empty() || leaf == "." || leaf == "..";
  std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  if (isFolder) folder = path;
  Place place{.directory = tolk::UniqueFd(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)),
              .leaf = isFolder ? "." : leaf,
              .name = {}};
  if (!place.directory) return place;
  place.name = nameOf(place.directory.get());
  if (!isFolder && !place.name.empty()) place.name = below(place.name, leaf);
  if (place.name.empty()) place.directory.reset(), errno = ENAMETOOLONG;
  return place;
}

void Collector::add(const std::string& path, TextKind kind, Oversize oversize,
                    std::uint64_t& limit) {
  const Place place = locate(path);
  struct stat status {};
  if (!place.directory ||
      ::fstatat(place.directory.get(), place.leaf.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    return noteError(path, errno);
  }
  if (std::ranges::any_of(
          packed_, [&place](const std::string& earlier) { return isBelow(place.name, earlier); })) {
    return;
  }
  kind_ = kind;
  oversize_ = oversize;
  limit_ = &limit;
  device_ = status.st_dev;
  walk(place.directory.get(), place.leaf, place.name, 0);
  packed_.insert(place.name);
}

void Collector::walk(int directory, const std::string& leaf, const std::string& name, int depth) {
  stopWhenInterrupted();
  struct stat status {};
  if (::fstatat(directory, leaf.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    return noteError(name, errno);
  }
  if (name == bundle_ || packed_.contains(name)) return;
  if (S_ISDIR(status.st_mode)) return folder(directory, leaf, name, depth);
  if (S_ISLNK(status.st_mode)) return link(directory, leaf, name, status, depth);
  if (S_ISREG(status.st_mode)) return file(directory, leaf, name);
  notes_.add(name, "left out: neither a file nor a folder");
}

void Collector::folder(int directory, const std::string& leaf, const std::string& name, int depth) {
  if (depth > kMostDepth) return notes_.add(name, "left out: too deep");
  const int descriptor =
      ::openat(directory, leaf.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (descriptor == -1) return noteError(name, errno);
  const Directory entries(::fdopendir(descriptor));
  if (!entries) {
    noteError(name, errno);
    ::close(descriptor);
    return;
  }
  struct stat status {};
  if (::fstat(descriptor, &status) != 0) return noteError(name, errno);
  if (status.st_dev != device_) return notes_.add(name, "left out: another file system");
  beginEntry(name, status, 0);
  endEntry(name);
  errno = 0;
  while (const dirent* entry = ::readdir(entries.get())) {
    const std::string child = static_cast<const char*>(entry->d_name);
    if (child != "." && child != "..") walk(descriptor, child, below(name, child), depth + 1);
    errno = 0;
  }
  if (errno != 0) noteError(name, errno);
}

void Collector::link(int directory, const std::string& leaf, const std::string& name,
                     const struct stat& status, int depth) {
  std::array<char, PATH_MAX> target{};
  const ssize_t length = ::readlinkat(directory, leaf.c_str(), target.data(), target.size() - 1);
  if (length <= 0) return noteError(name, errno);
  beginEntry(name, status, 0, std::string(target.data(), static_cast<std::size_t>(length)));
  endEntry(name);
  if (depth == 0) notes_.add(name, "a link, packed as such without what it points to");
}

void Collector::file(int directory, const std::string& leaf, const std::string& name) {
  if (isSecretFileName(leaf)) return notes_.add(name, "left out: its name is that of secrets");
  // O_NONBLOCK: another kind of file may have taken its place.
  const tolk::UniqueFd descriptor(
      ::openat(directory, leaf.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!descriptor) return noteError(name, errno);
  struct stat status {};
  if (::fstat(descriptor.get(), &status) != 0) return noteError(name, errno);
  if (!S_ISREG(status.st_mode)) return notes_.add(name, "left out: neither a file nor a folder");
  Source source{.file = descriptor.get(),
                .status = status,
                .name = name,
                .kind = name == kConfiguration ? TextKind::properties : kind_,
                .size = static_cast<std::uint64_t>(status.st_size)};
  try {
    const std::string_view content = readAt(source, 0, kChunk);
    const FileKind found = recogniseFile(content.substr(0, kRecognisingBytes));
    if (found.handling == FileKind::Handling::leaveOut) {
      return notes_.add(name, "left out: " + std::string(found.what));
    }
    source.searched = found.handling == FileKind::Handling::search;
    // What the file system says is a hint only: files of the kernel say 0.
    if (content.size() < kChunk) source.size = content.size();
    if (!cutToLimit(source)) return;
    if (!source.searched) {
      notes_.add(name, "not searched for secrets: " + std::string(found.what));
    }
    if (content.size() < kChunk && source.start == 0) {
      packSmall(source, content.substr(0, source.size));
    } else {
      packLarge(source);
    }
  } catch (const std::system_error& failure) {
    noteError(name, failure.code().value());
  }
}

// Takes what the source may have off the limit; false when it is left out.
bool Collector::cutToLimit(Source& source) {
  if (source.size > *limit_) {
    const std::string rest = ", beyond the limit of what a bundle holds";
    if (oversize_ == Oversize::leaveOut) {
      notes_.add(source.name, "left out: " + std::to_string(source.size) + " bytes" + rest);
      return false;
    }
    const std::string missing = std::to_string(source.size - *limit_) + " bytes are missing";
    if (oversize_ == Oversize::keepEnd) {
      source.start = source.size - *limit_;
      notes_.add(source.name, "at its start " + missing + rest);
    } else {
      notes_.add(source.name, "at its end " + missing + rest);
    }
    source.size = *limit_;
  }
  *limit_ -= source.size;
  return true;
}

void Collector::packSmall(Source& source, std::string_view content) {
  std::string redacted;
  if (source.searched) {
    Redactor redactor(source.kind);
    redactor.take(content, redacted);
    redactor.finish(redacted);
    content = redacted;
  }
  beginEntry(source.name, source.status, content.size());
  writer_.data(content);
  endEntry(source.name);
}

// The size comes before the content: a text is gone through twice rather than kept somewhere.
void Collector::packLarge(Source& source) {
  file_.mark(last_);
  std::uint64_t size = source.size;
  if (source.searched) {
    size = 0;
    passOver(source, [&size](std::string_view bytes) { size += bytes.size(); });
  }
  beginEntry(source.name, source.status, size);
  std::uint64_t left = size;
  passOver(source, [this, &left](std::string_view bytes) {
    const std::uint64_t count = std::min<std::uint64_t>(bytes.size(), left);
    writer_.data(bytes.substr(0, count));
    left -= count;
  });
  if (left > 0) notes_.add(source.name, "changed while it was read; filled up with NUL");
  endEntry(source.name);
}

void Collector::passOver(const Source& source, const std::function<void(std::string_view)>& sink) {
  Redactor redactor(source.kind);
  std::string redacted;
  for (std::uint64_t done = 0; done < source.size;) {
    stopWhenInterrupted();
    std::string_view bytes;
    try {
      bytes =
          readAt(source, source.start + done, std::min<std::uint64_t>(source.size - done, kChunk));
    } catch (const std::system_error& failure) {
      noteError(source.name, failure.code().value());
    }
    if (bytes.empty()) break;
    // What is left of a line that was cut may be the end of a secret.
    const bool isPartOfLine = source.searched && source.start > 0 && done == 0;
    done += bytes.size();
    if (isPartOfLine) bytes.remove_prefix(std::min(bytes.find('\n'), bytes.size() - 1) + 1);
    if (!source.searched) {
      sink(bytes);
      continue;
    }
    redacted.clear();
    redactor.take(bytes, redacted);
    sink(redacted);
  }
  redacted.clear();
  redactor.finish(redacted);
  sink(redacted);
}

std::string_view Collector::readAt(const Source& source, std::uint64_t offset, std::uint64_t most) {
  buffer_.resize(kChunk);
  std::size_t count = 0;
  while (count < most) {
    const ssize_t part = ::pread(source.file, buffer_.data() + count, most - count,
                                 static_cast<off_t>(offset + count));
    if (part == -1 && errno == EINTR) continue;
    if (part == -1) throw std::system_error(errno, std::generic_category());
    if (part == 0) break;
    count += static_cast<std::size_t>(part);
  }
  return std::string_view(buffer_).substr(0, count);
}

void Collector::beginEntry(const std::string& name, const struct stat& status, std::size_t size,
                           const std::string& target) {
  insideEntry_ = true;
  writer_.begin('.' + name, status, size, target);
}

void Collector::endEntry(const std::string& name) {
  writer_.end();
  insideEntry_ = false;
  last_ = name;
  if (file_.sinceMark() >= kChunk) file_.mark(last_);
}

void Collector::stopWhenInterrupted() const {
  if (signals_.pending()) throw Interrupted();
}

void Collector::noteError(const std::string& name, int error) {
  notes_.add(name, "left out: " + std::generic_category().message(error));
}

}  // namespace joinscope
