// Private namespaces for the test process: its own /etc and /var, a network with nothing but the
// loopback, and a host name.
#pragma once

#include <gtest/gtest.h>

#include <string>

namespace tolk::test {

/// Tests that meet the real absolute paths and ports. The first one takes the whole test process
/// into the sandbox; where namespaces are not allowed they are skipped, which is a failure in CI.
class Sandbox : public testing::Test {
 protected:
  void SetUp() override;

  /// Writes a file under /etc or /var, with the folders to it.
  static void write(const std::string& path, const std::string& content);
  static void setHostName(const std::string& name);
};

}  // namespace tolk::test
