// The suite version file in the states that a damaged installation leaves it in.
#include "cli/common/version.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "tests/unit/tolk/base/scratch_directory.h"
#include "tolk/base/exceptions.h"

namespace joinscope {
namespace {

// "KIND CODE TEXT" of what is thrown, the kind by its own account; or the line.
std::string said(const tolk::Base_Exception& error) {
  EXPECT_STREQ(error.file(), "cli_info");
  return std::string(error.typeName()) + ' ' + std::to_string(error.code()) + ' ' + error.what();
}

std::string outcome(const std::string& path) {
  try {
    return readSuiteVersionFrom(path.c_str());
  } catch (const tolk::IOException& error) {
    return said(error);
  } catch (const tolk::BadDataException& error) {
    return said(error);
  }
}

TEST(SuiteVersion, TrimsTheFile) {
  const ScratchDirectory directory;
  const std::string path = directory.write("version", "\n \t Suite 1.2 \xff\r\n\n");
  EXPECT_EQ(outcome(path), "Suite 1.2 \xff");
}

TEST(SuiteVersion, NamesWhatIsWrong) {
  const ScratchDirectory directory;
  const std::string blank = directory.write("blank", " \n\n ");
  const std::string fifo = directory.path("fifo");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  const std::string huge = directory.write("huge", "Suite");
  ASSERT_EQ(::truncate(huge.c_str(), off_t{1} << 40), 0);
  EXPECT_EQ(outcome(directory.path()), "IOException " + std::to_string(EISDIR) +
                                           " Cannot read file " + directory.path() +
                                           ": Is a directory");
  const std::string longPath = "/" + std::string(600, 'x');
  EXPECT_EQ(outcome(longPath), "IOException " + std::to_string(ENAMETOOLONG) +
                                   (" Cannot open file " + longPath).substr(0, 512));
  // Files of sysfs announce a page and give less; those of procfs announce nothing.
  EXPECT_EQ(outcome("/sys/kernel/mm/transparent_hugepage/enabled").substr(0, 46),
            "IOException -1 Cannot read all data in file /s");
  EXPECT_EQ(outcome(huge), "IOException -1 Cannot read all data in file " + huge);
  for (const std::string& path :
       {blank, fifo, std::string("/proc/version"), directory.write("e", "")}) {
    EXPECT_EQ(outcome(path), "BadDataException -1 Data in file " + path + " is incorrect.");
  }
}

}  // namespace
}  // namespace joinscope
