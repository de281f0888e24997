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

// ".It Cm KEY Pq UNIT" or ".It Cm KEY Pq UNIT , default VALUE", then the text up to the next item.
struct Entry {
  std::string heading;
  std::string text;
};

std::map<std::string, Entry> entriesOfPage() {
  std::map<std::string, Entry> entries;
  std::ifstream page(JOINSCOPE_SOURCE_DIR "/docs/orvald.conf.5");
  Entry* entry = nullptr;
  for (std::string line; std::getline(page, line);) {
    if (line.starts_with(".It Cm ")) {
      const std::string key = split(line, ' ')[2];
      EXPECT_FALSE(entries.contains(key)) << key << " is there twice";
      entry = &entries[key];
      entry->heading = line;
    } else if (line.starts_with(".El")) {
      entry = nullptr;
    } else if (entry != nullptr) {
      entry->text += line + " ";  // a sentence may go on in the next line
    }
  }
  return entries;
}

std::string headingOf(const Property& property) {
  std::string heading = ".It Cm " + std::string(property.key) + " Pq " + std::string(property.unit);
  if (!property.value.empty()) heading += " , default " + std::string(property.value);
  return heading;
}

TEST(ManualPage, HasEachPropertyWithUnitDefaultAndMeaning) {
  const auto entries = entriesOfPage();
  for (const Property* property : kProperties) {
    SCOPED_TRACE(property->key);
    const auto found = entries.find(std::string(property->key));
    ASSERT_NE(found, entries.end());
    EXPECT_EQ(found->second.heading, headingOf(*property));
    EXPECT_TRUE(found->second.text.starts_with(property->meaning)) << found->second.text;
  }
}

TEST(ManualPage, HasNoPropertyThatTheTableLacks) {
  for (const auto& entry : entriesOfPage()) {
    const std::string& key = entry.first;
    if (key.find('<') != std::string::npos) continue;  // keys that hold a domain's name
    const bool known = std::any_of(kProperties.begin(), kProperties.end(),
                                   [&key](const Property* p) { return p->key == key; });
    EXPECT_TRUE(known) << key;
  }
}

TEST(PropertyTable, NamesGiveTheKeysAndNoneIsThereTwice) {
  for (const Property* property : kProperties) {
    std::string key = toLower(property->name);
    std::replace(key.begin(), key.end(), '_', '.');
    EXPECT_EQ(property->key, key);
    EXPECT_EQ(std::count_if(kProperties.begin(), kProperties.end(),
                            [&](const Property* p) { return p->key == property->key; }),
              1);
  }
}

}  // namespace
}  // namespace tolk
