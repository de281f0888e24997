// How long the parsers of foreign bytes take: the configuration file, an answer to a netlogon ping,
// an SRV answer's sort.
#include <benchmark/benchmark.h>

#include <string>

#include "tolk/base/properties.h"
#include "tolk/net/cldap.h"
#include "tolk/net/dns_records.h"
#include "tolk/net/host_port.h"

namespace {

/// `count` lines of all shapes: properties, comments, blanks, continued values.
std::string configurationText(long count) {
  std::string text;
  for (long i = 0; i < count; ++i) {
    const std::string number = std::to_string(i);
    text += "# comment " + number + "\nsome.property." + number + ": value " + number +
            "\n\ncontinued.property." + number + ": first, \\\n  second\n";
  }
  return text;
}

void parseConfiguration(benchmark::State& state) {
  const std::string text = configurationText(state.range(0));
  for (auto _ : state) {
    tolk::Properties properties;
    properties.parse(text);
    benchmark::DoNotOptimize(properties);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(parseConfiguration)->Arg(10)->Arg(1000)->Arg(100000)->Unit(benchmark::kMicrosecond);

/// A search result entry with the attribute Netlogon of 100 bytes, and the message that ends the
/// search.
std::string cldapDatagram() {
  const std::string value(100, 'x');
  auto element = [](char tag, const std::string& content) {
    std::string result{tag, '\x81', static_cast<char>(content.size())};
    return result + content;
  };
  const std::string id = std::string("\x02\x01\x07", 3);
  const std::string attribute =
      element('\x30', element('\x04', "Netlogon") + element('\x31', element('\x04', value)));
  const std::string entry = element('\x64', element('\x04', "") + element('\x30', attribute));
  const std::string done = std::string("\x65\x07\x0a\x01\x00\x04\x00\x04\x00", 9);
  return element('\x30', id + entry) + element('\x30', id + done);
}

void decodeCldap(benchmark::State& state) {
  const std::string datagram = cldapDatagram();
  if (!tolk::decodeCldapAnswer(datagram)) state.SkipWithError("the datagram does not decode");
  for (auto _ : state) {
    benchmark::DoNotOptimize(tolk::decodeCldapAnswer(datagram));
  }
}
BENCHMARK(decodeCldap);

void sortSrvRecords(benchmark::State& state) {
  tolk::HostPortList shuffled;
  for (long i = 0; i < state.range(0); ++i) {
    tolk::HostPort record;
    record.host = "dc" + std::to_string(i * 7919 % state.range(0)) + ".lab.test";
    record.port = 389;
    record.priority = static_cast<std::uint16_t>(i % 3);
    record.weight = static_cast<std::uint16_t>(i % 5 * 10);
    shuffled.push_back(record);
  }
  for (auto _ : state) {
    tolk::HostPortList list = shuffled;
    tolk::sortRecords(list);
    benchmark::DoNotOptimize(list);
  }
}
BENCHMARK(sortSrvRecords)->Arg(10)->Arg(1000)->Unit(benchmark::kMicrosecond);

}  // namespace
