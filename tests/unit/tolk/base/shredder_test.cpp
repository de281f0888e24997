// Secrets in memory. This program's own munmap, mlock and madvise stand before those of the C
// library: the first looks at pages when they are given back, the second can be made to fail, and
// the last two note what they were asked for.
#include "tolk/base/shredder.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <utility>

namespace {

const void* watchedPages = nullptr;
bool watchedWereZero = false;
bool mlockFails = false;
const void* lastLocked = nullptr;
const void* lastLeftOutOfCoreFiles = nullptr;

}  // namespace

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the C library uses reserved
// names
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
  lastLocked = address;
  return static_cast<int>(::syscall(SYS_mlock, address, length));
}

extern "C" int madvise(void* address, size_t length, int advice) noexcept {
  if (advice == MADV_DONTDUMP) lastLeftOutOfCoreFiles = address;
  return static_cast<int>(::syscall(SYS_madvise, address, length, advice));
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

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
  EXPECT_EQ(lastLocked, locked.c_str());
  EXPECT_EQ(lastLeftOutOfCoreFiles, locked.c_str());
  mlockFails = true;
  const Shredder other(kSecret);
  mlockFails = false;
  EXPECT_EQ(other.view(), kSecret);
}

}  // namespace
}  // namespace tolk
