// A facts file from anybody, through the reader, every rule and every writer: the report stays free
// of control characters, the JSON is JSON, a metric's label stays on its line, and what was read is
// written again.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "check/judgement.h"
#include "check/writers/writer.h"
#include "facts/facts_file.h"
#include "tolk/base/json.h"

namespace {

using joinscope::check::Judgement;

bool isPlain(const std::string& text) {
  return std::ranges::all_of(text, [](char c) {
    return c == '\n' || (static_cast<unsigned char>(c) >= 0x20 && c != '\x7f');
  });
}

void writeAll(const joinscope::facts::Facts& facts) {
  const Judgement judgement = joinscope::check::judge(facts);
  if (!isPlain(joinscope::check::textReport(judgement, facts, {.all = true}))) std::abort();
  if (!isPlain(joinscope::check::prometheusReport(judgement, facts))) std::abort();
  const auto json = tolk::json::parse(joinscope::check::jsonReport(judgement, facts));
  if (tolk::json::integerMember(json, "status") != judgement.exitStatus()) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    const auto facts = joinscope::facts::readFacts({reinterpret_cast<const char*>(data), size});
    writeAll(facts);
    const std::string written = joinscope::facts::writeFacts(facts);
    if (joinscope::facts::writeFacts(joinscope::facts::readFacts(written)) != written) std::abort();
  } catch (const tolk::BadDataException&) {
  }
  return 0;
}
