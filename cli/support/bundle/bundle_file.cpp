// A file without a name gets one when all is in it. Each mark ends a gzip member, so that the
// file is whole when it is cut there.
#include "cli/support/bundle/bundle_file.h"

#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "tolk/base/exceptions.h"

namespace joinscope {
namespace {

constexpr mode_t kOwnerOnly = 0600;

[[noreturn]] void fail(const std::string& path, int error) {
  throw tolk::IOException(path + ": " + std::generic_category().message(error), error);
}

std::string descriptorPath(int descriptor) {
  return "/proc/self/fd/" + std::to_string(descriptor);
}

}  // namespace

BundleFile::BundleFile(const std::string& path) : path_(path) {
  const std::size_t slash = path.rfind('/');
  name_ = path.substr(slash + 1);
  const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  directory_.reset(::open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!directory_) fail(directory, errno);
  removeOld();
  open();
  constexpr int kGzip = 16 + MAX_WBITS;  // zlib.h: the container of gzip(1)
  constexpr int kDefaultMemory = 8;
  if (::deflateInit2(&stream_, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzip, kDefaultMemory,
                     Z_DEFAULT_STRATEGY) != Z_OK) {
    fail(path_, ENOMEM);
  }
}

BundleFile::~BundleFile() {
  ::deflateEnd(&stream_);
  if (named_ && !published_) ::unlinkat(directory_.get(), name_.c_str(), 0);
}

void BundleFile::removeOld() {
  struct stat status {};
  if (::fstatat(directory_.get(), name_.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return;
  if (!S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode)) {
    throw tolk::IOException(
        path_ + " is no regular file and is left as it is; name another report with -o", EEXIST);
  }
  if (::unlinkat(directory_.get(), name_.c_str(), 0) != 0) fail(path_, errno);
}

void BundleFile::open() {
  file_.reset(::openat(directory_.get(), ".", O_TMPFILE | O_RDWR | O_CLOEXEC, kOwnerOnly));
  if (file_) return;
  if (errno != EOPNOTSUPP && errno != EISDIR) fail(path_, errno);  // open(2), O_TMPFILE
  file_.reset(::openat(directory_.get(), name_.c_str(),
                       O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kOwnerOnly));
  if (!file_) fail(path_, errno);
  named_ = true;
}

void BundleFile::write(std::string_view bytes) {
  // zlib counts in 32 bits.
  constexpr std::size_t kMostAtOnce = std::size_t{1} << 30;
  while (!bytes.empty()) {
    const std::string_view part = bytes.substr(0, kMostAtOnce);
    // NOLINTNEXTLINE(*-const-cast,*-reinterpret-cast): zlib reads from it only
    stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(part.data()));
    stream_.avail_in = static_cast<uInt>(part.size());
    compress(Z_NO_FLUSH);
    sinceMark_ += part.size();
    bytes.remove_prefix(part.size());
  }
}

void BundleFile::compress(int flush) {
  int result = Z_OK;
  do {
    stream_.next_out = reinterpret_cast<Bytef*>(buffer_.data());  // NOLINT(*-reinterpret-cast)
    stream_.avail_out = static_cast<uInt>(buffer_.size());
    result = ::deflate(&stream_, flush);
    store(buffer_.data(), buffer_.size() - stream_.avail_out);
  } while (flush == Z_FINISH ? result != Z_STREAM_END : stream_.avail_out == 0);
}

void BundleFile::store(const char* bytes, std::size_t count) {
  while (count > 0) {
    const ssize_t written = ::pwrite(file_.get(), bytes, count, size_);
    if (written == -1 && errno == EINTR) continue;
    if (written <= 0) fail(path_, written == 0 ? ENOSPC : errno);
    size_ += written;
    bytes += written;
    count -= static_cast<std::size_t>(written);
  }
}

void BundleFile::mark(std::string last) {
  if (sinceMark_ == 0) return;
  compress(Z_FINISH);
  ::deflateReset(&stream_);
  sinceMark_ = 0;
  marks_.push_back({size_, std::move(last)});
}

void BundleFile::cutToMark() {
  size_ = marks_.empty() ? 0 : marks_.back().offset;
  ::deflateReset(&stream_);
  sinceMark_ = 0;
  if (::ftruncate(file_.get(), size_) != 0) fail(path_, errno);
}

bool BundleFile::dropMark() {
  if (marks_.size() <= kept_) return false;
  marks_.pop_back();
  cutToMark();
  return true;
}

void BundleFile::publish(bool safely) {
  if (sinceMark_ > 0) compress(Z_FINISH);
  ::deflateReset(&stream_);
  sinceMark_ = 0;
  if (safely && ::fsync(file_.get()) != 0) fail(path_, errno);
  if (!named_) {
    removeOld();
    if (::linkat(AT_FDCWD, descriptorPath(file_.get()).c_str(), directory_.get(), name_.c_str(),
                 AT_SYMLINK_FOLLOW) != 0) {
      fail(path_, errno);
    }
  }
  published_ = true;
}

void BundleFile::goOn() {
  const tolk::UniqueFd before = std::move(file_);
  open();
  published_ = false;
  const off_t end = marks_.empty() ? 0 : marks_.back().offset;
  for (off_t at = 0; at < end;) {
    const ssize_t count =
        ::sendfile(file_.get(), before.get(), &at, static_cast<std::size_t>(end - at));
    if (count <= 0) fail(path_, count == 0 ? EIO : errno);
  }
  size_ = end;
  kept_ = marks_.size();
}

}  // namespace joinscope
