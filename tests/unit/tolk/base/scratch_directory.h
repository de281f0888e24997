// A directory for one test's files, removed with all of its content.
#pragma once

#include <stdlib.h>  // mkdtemp

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

/// Made below the system's directory for temporary files.
class ScratchDirectory {
 public:
  ScratchDirectory() : path_(std::filesystem::temp_directory_path() / "joinscope-test-XXXXXX") {
    if (::mkdtemp(path_.data()) == nullptr) throw std::filesystem::filesystem_error("mkdtemp", {});
  }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;
  ~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  [[nodiscard]] const std::string& path() const noexcept { return path_; }
  [[nodiscard]] std::string path(const std::string& name) const { return path_ + "/" + name; }

  /// Writes a file and returns its path; directories above it are made.
  std::string write(const std::string& name, std::string_view content) const {
    const std::string file = path(name);
    std::filesystem::create_directories(std::filesystem::path(file).parent_path());
    std::ofstream(file, std::ios::binary) << content;
    return file;
  }

 private:
  std::string path_;
};
