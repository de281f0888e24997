#include "tests/support/process.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <system_error>
#include <vector>

#include "tolk/base/handle.h"

namespace joinscope::test {
namespace {

std::string processPath(pid_t pid, const std::string& name) {
  return "/proc/" + std::to_string(pid) + "/" + name;
}

std::string networkOf(pid_t pid) {
  std::error_code failed;
  return std::filesystem::read_symlink(processPath(pid, "ns/net"), failed).string();
}

std::size_t countInRange(int memory, std::uint64_t start, std::uint64_t end,
                         const std::string& marker) {
  std::vector<char> bytes(end - start);
  const ssize_t count = ::pread(memory, bytes.data(), bytes.size(), static_cast<off_t>(start));
  if (count <= 0) return 0;
  bytes.resize(static_cast<std::size_t>(count));
  const std::boyer_moore_searcher searcher(marker.begin(), marker.end());
  std::size_t found = 0;
  for (auto at = bytes.begin(); (at = std::search(at, bytes.end(), searcher)) != bytes.end();
       ++at) {
    ++found;
  }
  return found;
}

}  // namespace

pid_t findProcess(const std::string& name, pid_t neighbour) {
  const std::string network = networkOf(neighbour);
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    const std::string text = entry.path().filename().string();
    if (text.find_first_not_of("0123456789") != std::string::npos) continue;
    const pid_t pid = static_cast<pid_t>(std::stol(text));
    if (processFile(pid, "comm") == name + "\n" && networkOf(pid) == network) return pid;
  }
  return 0;
}

std::string processFile(pid_t pid, const std::string& name) {
  std::ifstream file(processPath(pid, name), std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

std::size_t countInMemory(pid_t pid, const std::string& marker) {
  const tolk::UniqueFd memory(::open(processPath(pid, "mem").c_str(), O_RDONLY | O_CLOEXEC));
  if (!memory) throw std::system_error(errno, std::generic_category(), "open mem");
  std::istringstream maps(processFile(pid, "maps"));
  std::size_t found = 0;
  constexpr std::uint64_t kLargest = 1ULL
                                     << 30;  // the sanitizers' shadow is larger and holds no data
  for (std::string line; std::getline(maps, line);) {
    std::uint64_t start = 0;
    std::uint64_t end = 0;
    char access[5] = {};
    if (std::sscanf(line.c_str(), "%" SCNx64 "-%" SCNx64 " %4s", &start, &end, access) != 3)
      continue;
    if (access[0] != 'r' || end - start > kLargest) continue;
    found += countInRange(memory.get(), start, end, marker);
  }
  return found;
}

}  // namespace joinscope::test
