// A line an entry: owner, what, count, time, separated by tabulators.
#include "facts/refusals.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <sstream>

#include "tolk/base/exceptions.h"
#include "tolk/base/private_directory.h"
#include "tolk/base/text.h"

namespace joinscope::facts {
namespace {

constexpr std::size_t kMostEntries = 32;
constexpr std::int64_t kHalfHour = 1800;
constexpr std::int64_t kDay = 86400;

std::string folderOfUser() {
  if (::geteuid() == 0) return "/run/joincheck";
  return "/tmp/joincheck-" + std::to_string(::geteuid());
}

[[noreturn]] void fail(const std::string& path, int error) {
  throw tolk::IOException(path + ": " + std::strerror(error), error);
}

tolk::UniqueFd openLocked(const std::string& folder) {
  if (const int error = tolk::makePrivateDirectory(folder.c_str()); error != 0) fail(folder, error);
  const std::string path = folder + "/refused";
  constexpr mode_t kOwnerOnly = 0600;
  tolk::UniqueFd file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kOwnerOnly));
  if (!file || ::flock(file.get(), LOCK_EX) != 0) fail(path, errno);
  return file;
}

std::vector<Refusals::Entry> read(int file) {
  std::string text;
  std::array<char, 4096> part{};
  for (ssize_t count = 0; (count = ::read(file, part.data(), part.size())) > 0;) {
    text.append(part.data(), static_cast<std::size_t>(count));
  }
  std::vector<Refusals::Entry> entries;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    Refusals::Entry entry;
    const bool whole = std::getline(fields, entry.owner, '\t') &&
                       std::getline(fields, entry.what, '\t') &&
                       fields >> entry.count >> entry.last;
    if (whole) entries.push_back(std::move(entry));
  }
  return entries;
}

}  // namespace

Refusals::Refusals() : Refusals(folderOfUser()) {}

Refusals::Refusals(const std::string& folder)
    : file_(openLocked(folder)), entries_(read(file_.get())) {
  save();  // before anything is shown: what cannot be written then would be forgotten later
}

std::optional<Refusals::Entry> Refusals::find(const std::string& owner,
                                              const std::string& what) const {
  const auto found = std::ranges::find_if(
      entries_, [&](const Entry& entry) { return entry.owner == owner && entry.what == what; });
  return found == entries_.end() ? std::nullopt : std::optional(*found);
}

Refusals::Entry& Refusals::at(const std::string& owner, const std::string& what) {
  Entry entry = find(owner, what).value_or(Entry{.owner = owner, .what = what});
  std::erase_if(entries_, [&](const Entry& old) { return old.owner == owner && old.what == what; });
  if (entries_.size() >= kMostEntries) entries_.erase(entries_.begin());
  return entries_.emplace_back(std::move(entry));
}

void Refusals::noteRefused(const std::string& owner, const std::string& what, std::int64_t now) {
  Entry& entry = at(owner, what);
  const bool wasGood = entry.count == 0 && entry.last != 0;
  ++entry.count;
  entry.last = now;
  // The password behind them all has changed.
  if (wasGood)
    std::erase_if(entries_,
                  [&](const Entry& other) { return other.owner == owner && other.count == 0; });
  save();
}

void Refusals::noteAccepted(const std::string& owner, const std::string& what, std::int64_t now) {
  Entry& entry = at(owner, what);
  entry.count = 0;
  entry.last = now;
  save();
}

void Refusals::save() {
  std::string text;
  for (const Entry& entry : entries_) {
    text += tolk::escapeOnOneLine(entry.owner) + '\t' + entry.what + '\t' +
            std::to_string(entry.count) + '\t' + std::to_string(entry.last) + '\n';
  }
  constexpr std::size_t kRoom = 512;  // for what is noted before the next save() but one
  const std::size_t used = text.size();
  text.append(kRoom, '\n');
  const bool written =
      ::pwrite(file_.get(), text.data(), text.size(), 0) == static_cast<ssize_t>(text.size());
  if (!written || ::ftruncate(file_.get(), static_cast<off_t>(used + kRoom)) != 0) {
    fail("the record of refusals", errno);
  }
}

bool Refusals::mayShow(const Entry& entry, std::int64_t now) {
  if (entry.count == 0) return true;
  const std::int64_t wait = entry.count == 1 ? kHalfHour : kDay;
  return now >= entry.last + wait || now < entry.last - kDay;  // or the clock was wrong by a day
}

}  // namespace joinscope::facts
