// orvald.conf(5) and the table of properties say the same.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <string>

#include "tolk/base/property_names.h"
#include "tolk/base/text.h"

namespace tolk {
namespace {

// The text of each ".It Cm KEY Pq UNIT" or ".It Cm KEY Pq UNIT , default VALUE", heading included.
std::map<std::string, std::string> entriesOfPage() {
  std::map<std::string, std::string> entries;
  std::ifstream page(JOINSCOPE_SOURCE_DIR "/docs/orvald.conf.5");
  std::string* entry = nullptr;
  for (std::string line; std::getline(page, line);) {
    if (line.starts_with(".It Cm ")) {
      const std::string key = split(line, ' ')[2];
      EXPECT_FALSE(entries.contains(key)) << key << " is there twice";
      entry = &entries[key];
    }
    if (line.starts_with(".El")) entry = nullptr;
    if (entry != nullptr) *entry += line + " ";  // a sentence may go on in the next line
  }
  return entries;
}

TEST(ManualPage, HasThePropertiesOfTheTableWithUnitDefaultAndMeaning) {
  auto entries = entriesOfPage();
  for (const Property* property : kProperties) {
    const std::string key(property->key);
    std::string expected = ".It Cm " + key + " Pq " + std::string(property->unit);
    if (!property->value.empty()) expected += " , default " + std::string(property->value);
    expected += " " + std::string(property->meaning);
    EXPECT_EQ(entries[key].substr(0, expected.size()), expected);
    entries.erase(key);

    std::string fromName = toLower(property->name);
    std::replace(fromName.begin(), fromName.end(), '_', '.');
    EXPECT_EQ(key, fromName);
  }
  for (const auto& entry : entries) {  // the others are keys that hold a domain's name
    EXPECT_NE(entry.first.find('<'), std::string::npos) << entry.first;
  }
}

}  // namespace
}  // namespace tolk
