// A command's output is kept until it ends or its time is up, and then written in one go, so that
// a report never holds half a line of it.
#include "cli/common/command_runner.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <iostream>

#include "cli/common/output.h"
#include "tolk/base/child_process.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/handle.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"

namespace joinscope {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kPiece = 1023;            // bytes of a line in one go
constexpr std::size_t kMostOutput = 16U << 20;  // bytes of one command that a report shows

std::chrono::milliseconds commandLimit() {
  return std::chrono::milliseconds(tolk::Props().getLimitMs(tolk::PN::SUPPORT_COMMAND_TIMEOUT));
}

std::vector<std::string> shellCommand(const std::string& command) {
  return {"/bin/sh", "-c", command};
}

/// Takes a command's bytes and keeps them as indented pieces.
class IndentedOutput {
 public:
  explicit IndentedOutput(const char* indent) : indent_(indent) {}

  void take(std::string_view bytes) {
    for (const char byte : bytes) {
      if (text_.size() >= kMostOutput) {
        ++leftOut_;
        continue;
      }
      if (inPiece_ == 0) text_ += indent_;
      text_ += byte;
      inPiece_ = byte == '\n' || inPiece_ + 1 == kPiece ? 0 : inPiece_ + 1;
    }
  }

  /// The text, and what is missing from it.
  [[nodiscard]] std::string finish(int status) && {
    if (leftOut_ > 0) text_ += '\n' + indent_ + std::to_string(leftOut_) + " bytes left out\n";
    if (status == tolk::kInterrupted) addLine("ended by a signal");
    if (status == tolk::kTimedOut) {
      addLine("ended after " + std::to_string(commandLimit().count() / 1000) + " s (" +
              std::string(tolk::PN::SUPPORT_COMMAND_TIMEOUT.key) + ")");
    }
    return std::move(text_);
  }

 private:
  void addLine(const std::string& line) {
    if (!text_.empty() && !text_.ends_with('\n')) text_ += '\n';
    text_ += indent_ + line + '\n';
  }

  std::string indent_;
  std::string text_;
  std::size_t inPiece_ = 0;
  std::size_t leftOut_ = 0;
};

/// Reads until the end of the pipe; false when the deadline, or a signal that shall end this
/// process, came first.
bool readAll(int pipe, const tolk::ChildProcess& child, Clock::time_point deadline,
             IndentedOutput& output) {
  std::array<char, 65536> chunk{};
  while (child.ready(pipe, deadline)) {
    const ssize_t count = ::read(pipe, chunk.data(), chunk.size());
    if (count <= 0) return true;
    output.take({chunk.data(), static_cast<std::size_t>(count)});
  }
  return false;
}

/// Reads what is in the pipe now: what a program that was ended said then. One piece holds it all.
void readRest(int pipe, IndentedOutput& output) {
  std::array<char, 65536> chunk{};
  ::fcntl(pipe, F_SETFL, O_NONBLOCK);
  const ssize_t count = ::read(pipe, chunk.data(), chunk.size());
  if (count > 0) output.take({chunk.data(), static_cast<std::size_t>(count)});
}

/// The indented output of a shell command; throws IOException when it cannot be started.
std::string outputOf(const std::string& command, const char* indent) {
  const Clock::time_point deadline = Clock::now() + commandLimit();
  std::array<int, 2> ends{-1, -1};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw tolk::IOException("Cannot make a pipe", errno);
  const tolk::UniqueFd readEnd(ends[0]);
  tolk::UniqueFd writeEnd(ends[1]);
  // In the shell's place, so that what ends the shell is for the program to handle.
  tolk::ChildProcess child(shellCommand("exec " + command), writeEnd.get());
  writeEnd.reset();
  IndentedOutput output(indent);
  const bool complete = readAll(readEnd.get(), child, deadline, output);
  const int status = child.wait(complete ? deadline : Clock::now());
  if (complete) return std::move(output).finish(status);
  readRest(readEnd.get(), output);
  // A program that has ended may have left another one behind at the pipe.
  return std::move(output).finish(status == tolk::kInterrupted ? status : tolk::kTimedOut);
}

void sayNoPipe(const std::string& command) {
  std::cerr << "Cannot open pipe with command `" << command << "'\n";
}

}  // namespace

int runCommands(const CommandTable& commands, bool echo) {
  int status = 0;
  std::cout.flush();
  for (const std::vector<std::string>& words : commands) {
    if (words.empty()) continue;
    if (echo) {
      for (const std::string& word : words) std::cout << word << ' ';
      std::cout << '\n' << std::flush;
    }
    status = tolk::spawnfv(words);
  }
  return status;
}

int runPiped(const char* heading, const std::string& command, const char* indent) {
  if (heading != nullptr) std::cout << '\n' << heading;
  std::cout.flush();
  const tolk::HeldSignals untilShown;  // what a command says at its end is often what matters
  try {
    std::cout << outputOf(command, indent) << '\n' << std::flush;
    return 0;
  } catch (const tolk::IOException&) {
    sayNoPipe(command);
    return 1;
  }
}

int shellStatus(const std::string& command) {
  std::cout.flush();
  try {
    const tolk::UniqueFd nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
    tolk::ChildProcess child(shellCommand(command), nowhere.get());
    return child.wait(Clock::now() + commandLimit());
  } catch (const tolk::IOException&) {
    std::cerr << "Cannot open pipe with command `" << command << "`\n";
    return -1;
  }
}

void printFile(const std::string& path) {
  // O_NONBLOCK: a FIFO without a writer must not keep the report waiting.
  const tolk::UniqueFd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  std::array<char, 65536> chunk{};
  ssize_t count = file ? 0 : -1;
  while (file && (count = ::read(file.get(), chunk.data(), chunk.size())) > 0) {
    std::cout.write(chunk.data(), count);
  }
  if (count < 0) std::cout << prefix(1) << "Problem accessing " << path << '\n';
}

std::string shellQuoted(std::string_view word) {
  std::string quoted = "'";
  for (const char byte : word) {
    if (byte == '\'') {
      quoted += "'\\''";
    } else {
      quoted += byte;
    }
  }
  return quoted + "'";
}

}  // namespace joinscope
