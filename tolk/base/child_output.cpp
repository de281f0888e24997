// One pipe, read until its end or the limit.
#include "tolk/base/child_output.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "tolk/base/child_process.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/handle.h"

namespace tolk {

ChildOutput runForOutput(const std::vector<std::string>& arguments,
                         std::chrono::milliseconds limit) {
  constexpr std::size_t kMost = 65536;
  const auto deadline = std::chrono::steady_clock::now() + limit;
  std::array<int, 2> ends{-1, -1};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw IOException("Cannot make a pipe", errno);
  const UniqueFd readEnd(ends[0]);
  UniqueFd writeEnd(ends[1]);
  ChildProcess child(arguments, writeEnd.get());
  writeEnd.reset();
  ChildOutput output;
  std::array<char, 4096> chunk{};
  while (child.ready(readEnd.get(), deadline)) {
    const ssize_t count = ::read(readEnd.get(), chunk.data(), chunk.size());
    if (count <= 0) break;
    const std::size_t room = kMost - output.text.size();
    output.text.append(chunk.data(), std::min(static_cast<std::size_t>(count), room));
  }
  output.status = child.wait(deadline);
  return output;
}

}  // namespace tolk
