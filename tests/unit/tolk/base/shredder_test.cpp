// Secrets in memory. This program's own munmap and mlock stand before those of the C library: the
// first looks at pages when they are given back, the second can be made to fail.
#include "tolk/base/shredder.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>

namespace {

const void* watchedPages = nullptr;
bool watchedWereZero = false;
bool mlockFails = false;

}  // namespace

extern "C" int munmap(void* address, size_t length) noexcept {
  if (address == watchedPages) {
    const char* bytes = static_cast<const char*>(address);
    watchedWereZero = std::all_of(bytes, bytes + length, [](char c) { return c == '\0'; });
    watchedPages = nullptr;
  }
  return static_cast<int>(::syscall(SYS_munmap, address, length));
}

extern "C" int mlock(const void* address, size_t length) noexcept {
  if (mlockFails) {
    errno = ENOMEM;
    return -1;
  }
  return static_cast<int>(::syscall(SYS_mlock, address, length));
}

namespace tolk {
namespace {

constexpr const char* kSecret = "correct horse";

// Runs `giveBack` and says whether the pages of `secret` were unmapped, and zero by then.
template <typename GiveBack>
bool wipedBeforeUnmap(const Shredder& secret, GiveBack giveBack) {
  watchedPages = secret.c_str();
  watchedWereZero = false;
  giveBack();
  return watchedPages == nullptr && watchedWereZero;
}

// The flags of the mapping that holds `address` (proc(5), smaps, VmFlags).
std::string mappingFlags(const void* address) {
  std::ifstream maps("/proc/self/smaps");
  const auto wanted = reinterpret_cast<std::uintptr_t>(address);
  bool inside = false;
  for (std::string line; std::getline(maps, line);) {
    std::uintptr_t first = 0;
    std::uintptr_t last = 0;
    char dash = '\0';
    if (std::istringstream(line) >> std::hex >> first >> dash >> last && dash == '-') {
      inside = wanted >= first && wanted < last;
    } else if (inside && line.starts_with("VmFlags:")) {
      return line + " ";
    }
  }
  return "";
}

TEST(Shredder, WipesOnEveryWayOut) {
  auto* dying = new Shredder(kSecret);
  EXPECT_TRUE(wipedBeforeUnmap(*dying, [&] { delete dying; }));

  Shredder replaced(kSecret);
  EXPECT_TRUE(wipedBeforeUnmap(replaced, [&] { replaced = Shredder("other"); }));
  EXPECT_EQ(replaced.view(), "other");

  const Shredder source("third");
  EXPECT_TRUE(wipedBeforeUnmap(replaced, [&] { replaced = source; }));
  EXPECT_EQ(replaced.view(), source.view());

  Shredder moved("fourth");  // the replaced pages may not live on in it
  EXPECT_TRUE(wipedBeforeUnmap(replaced, [&] { replaced = std::move(moved); }));
  EXPECT_EQ(replaced.view(), "fourth");
}

TEST(Shredder, WipeZeroesInPlace) {
  Shredder secret(kSecret);
  const char* bytes = secret.c_str();
  secret.wipe();
  EXPECT_TRUE(secret.empty());
  EXPECT_TRUE(std::all_of(bytes, bytes + 4096, [](char c) { return c == '\0'; }));
}

TEST(Shredder, CopiesAreDeepAndMovesLeaveNothing) {
  Shredder first(kSecret);
  Shredder copy(first);
  first.wipe();
  const Shredder moved(std::move(copy));
  EXPECT_EQ(moved.view(), kSecret);
  EXPECT_STREQ(copy.c_str(), "");  // NOLINT(bugprone-use-after-move): that is the question
}

TEST(Shredder, KeepsNulBytesAndEndsAtPageBoundaries) {
  const std::string bytes = std::string("a\0b", 3) + std::string(4093, 'x');
  const Shredder secret(bytes);
  EXPECT_EQ(secret.view(), bytes);
  EXPECT_EQ(secret.c_str()[bytes.size()], '\0');
}

TEST(Shredder, LiesInPagesThatAreLockedWherePossibleAndLeftOutOfCoreFiles) {
  const Shredder locked(kSecret);
  const std::string flags = mappingFlags(locked.c_str());
  EXPECT_NE(flags.find(" dd "), std::string::npos) << flags;
  EXPECT_NE(flags.find(" lo "), std::string::npos) << flags;
  mlockFails = true;
  const Shredder secret(kSecret);
  mlockFails = false;
  EXPECT_EQ(secret.view(), kSecret);
}

}  // namespace
}  // namespace tolk
