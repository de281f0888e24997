// Goes by keys alone, which hold no secret, to the one value that is wanted.
#include "facts/subjects/secrets_tdb.h"

#include <fcntl.h>
#include <tdb.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

#include "tolk/base/handle.h"

namespace joinscope::facts {
namespace {

constexpr char kPath[] = "/var/lib/samba/private/secrets.tdb";
// Followed by the domain's NetBIOS name; the value is a time, 32 bits, least byte first.
constexpr std::string_view kChangedKey = "SECRETS/MACHINE_LAST_CHANGE_TIME/";

using Database = std::unique_ptr<tdb_context, tolk::Releaser<::tdb_close>>;

/// What tdb allocates for the caller.
class Datum {
 public:
  explicit Datum(TDB_DATA data) : data_(data) {}
  Datum(const Datum&) = delete;
  Datum& operator=(const Datum&) = delete;
  Datum& operator=(Datum&& from) noexcept {
    std::swap(data_, from.data_);
    return *this;
  }
  ~Datum() { std::free(data_.dptr); }

  [[nodiscard]] TDB_DATA get() const { return data_; }
  [[nodiscard]] std::string_view text() const {
    return {reinterpret_cast<const char*>(data_.dptr), data_.dsize};
  }

 private:
  TDB_DATA data_;
};

std::int64_t timeIn(std::string_view value) {
  std::uint32_t time = 0;
  for (std::size_t i = 0; i < sizeof time && i < value.size(); ++i) {
    time |= std::uint32_t{static_cast<unsigned char>(value[i])} << (8 * i);
  }
  return time;
}

std::int64_t lastChange(tdb_context* database) {
  Datum key(::tdb_firstkey(database));
  while (key.get().dptr != nullptr) {
    if (key.text().starts_with(kChangedKey)) {
      return timeIn(Datum(::tdb_fetch(database, key.get())).text());
    }
    key = Datum(::tdb_nextkey(database, key.get()));
  }
  return 0;
}

}  // namespace

void readSecretsTdb(Join& join) {
  if (::access(kPath, F_OK) != 0) return;
  const Database database(::tdb_open(kPath, 0, TDB_DEFAULT, O_RDONLY, 0));
  if (!database) {
    join.secrets = {.outcome = Outcome::failed, .reason = std::strerror(errno), .code = errno};
    return;
  }
  join.secrets.outcome = Outcome::answered;
  join.secretsChanged = lastChange(database.get());
}

}  // namespace joinscope::facts
