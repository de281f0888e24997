// The texts of the records that a test causes.
#pragma once

#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "tests/unit/tolk/base/scratch_directory.h"
#include "tolk/base/logger.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"

namespace tolk::test {

/// Collects all records from construction on.
class LogTexts {
 public:
  explicit LogTexts(const std::string& level = "DEBUG") {
    Properties properties;
    properties.set(PN::ROOT_LOGGER_NAME, level);
    Logger::ReconfigureLevels(properties);
    openLog(LogSink::file, path_);
  }
  ~LogTexts() { openLog(LogSink::file, ""); }
  LogTexts(const LogTexts&) = delete;
  LogTexts& operator=(const LogTexts&) = delete;

  /// Those of one logger since the last call for it, without level and place.
  std::vector<std::string> take(const std::string& logger = "base.cloudconnector.locator") {
    std::ifstream file(path_);
    std::streamoff& position = positions_[logger];
    file.seekg(position);
    std::vector<std::string> texts;
    const std::string mark = " " + logger + ": ";
    for (std::string line; std::getline(file, line);) {
      position += static_cast<std::streamoff>(line.size()) + 1;
      const std::size_t start = line.find(mark);
      if (start == std::string::npos) continue;
      const std::size_t from = start + mark.size();
      texts.push_back(line.substr(from, line.rfind(" (", line.rfind(".cpp:")) - from));
    }
    return texts;
  }

 private:
  ScratchDirectory directory_;
  std::string path_ = directory_.path("log");
  std::map<std::string, std::streamoff> positions_;
};

}  // namespace tolk::test
