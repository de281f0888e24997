// libarchive writes headers and padding into the bundle's file; after a cut it starts anew.
#include "cli/support/bundle/tar_writer.h"

#include <archive_entry.h>

#include <cerrno>

#include "tolk/base/exceptions.h"

namespace joinscope {
namespace {

using Entry = std::unique_ptr<archive_entry, tolk::Releaser<archive_entry_free>>;

}  // namespace

// Freed as it is, an archive writes its end first.
void TarWriter::drop() noexcept {
  dropping_ = true;
  archive_.reset();
  dropping_ = false;
}

void TarWriter::restart() {
  drop();
  failure_ = nullptr;
  archive_.reset(archive_write_new());
  if (!archive_) throw tolk::IOException("Cannot make an archive", ENOMEM);
  // The format of GNU tar takes names as they are; others want them in a known character set.
  check(archive_write_set_format_gnutar(archive_.get()));
  // No blocks: what is written is in the file.
  check(archive_write_set_bytes_per_block(archive_.get(), 0));
  check(archive_write_open(archive_.get(), this, nullptr, take, nullptr));
}

// check() tells a failure, not the library: what it has for its output is lost to it then.
la_ssize_t TarWriter::take(struct archive* /*archive*/, void* self, const void* bytes,
                           std::size_t count) {
  auto* writer = static_cast<TarWriter*>(self);
  try {
    if (!writer->failure_ && !writer->dropping_) {
      writer->file_.write({static_cast<const char*>(bytes), count});
    }
  } catch (...) {
    writer->failure_ = std::current_exception();
  }
  return static_cast<la_ssize_t>(count);
}

void TarWriter::check(la_ssize_t result) {
  if (failure_) std::rethrow_exception(failure_);
  if (result >= ARCHIVE_WARN) return;
  const char* reason = archive_error_string(archive_.get());
  throw tolk::IOException(reason != nullptr ? reason : "Cannot write an archive", EIO);
}

void TarWriter::begin(const std::string& name, const struct stat& status, std::size_t size,
                      const std::string& target) {
  constexpr mode_t kPermissions = 0777;
  const Entry entry(archive_entry_new());
  if (!entry) throw tolk::IOException("Cannot make an archive", ENOMEM);
  archive_entry_set_pathname(entry.get(), name.c_str());
  archive_entry_set_mode(entry.get(),
                         (status.st_mode & (S_IFMT | kPermissions)) | S_IRUSR | S_IWUSR);
  archive_entry_set_uid(entry.get(), status.st_uid);
  archive_entry_set_gid(entry.get(), status.st_gid);
  archive_entry_set_mtime(entry.get(), status.st_mtim.tv_sec, 0);
  archive_entry_set_size(entry.get(), static_cast<la_int64_t>(size));
  if (!target.empty()) archive_entry_set_symlink(entry.get(), target.c_str());
  check(archive_write_header(archive_.get(), entry.get()));
}

void TarWriter::data(std::string_view bytes) {
  check(archive_write_data(archive_.get(), bytes.data(), bytes.size()));
}

void TarWriter::end() {
  check(archive_write_finish_entry(archive_.get()));
}

void TarWriter::finish() {
  check(archive_write_close(archive_.get()));
}

}  // namespace joinscope
