// Who waits for new tickets, and who asks for them.
#include "tolk/krb5/shared_ticket.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

namespace tolk {
namespace {

struct FakeTicket {
  int number;
  [[nodiscard]] static std::string principal() { return "H$@R"; }
  [[nodiscard]] static std::time_t endTime() { return std::time(nullptr) + 36000; }
};
using Shared = SharedTicket<FakeTicket>;

TEST(SharedTicket, OldOnesAreGivenOutWhileOneThreadAsksForNewOnes) {
  Shared shared;
  const auto make = [](int number) { return std::make_shared<const FakeTicket>(number); };
  EXPECT_EQ(shared.get("H$@R", false, [&] { return make(1); })->number, 1);
  std::promise<void> asked, answer;
  const auto slow = [&] {
    asked.set_value();
    answer.get_future().wait();
    return make(2);
  };
  auto renewed = std::async(std::launch::async, [&] { return shared.get("H$@R", true, slow); });
  asked.get_future().wait();
  auto other = std::async(std::launch::async, [&] {
    return shared.get("H$@R", false, [&] { return make(3); })->number;
  });
  EXPECT_EQ(other.wait_for(std::chrono::seconds(5)), std::future_status::ready);
  answer.set_value();
  EXPECT_EQ(other.get(), 1);
  EXPECT_EQ(renewed.get()->number, 2);
}

TEST(SharedTicket, FailureIsEverybodysAnswerForAWhile) {
  Shared shared;
  std::atomic<int> asked = 0;
  const auto fail = [&asked]() -> Shared::Pointer {
    ++asked;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    throw std::runtime_error("no KDC");
  };
  std::vector<std::future<void>> callers;
  for (int i = 0; i < 8; ++i) {
    callers.push_back(
        std::async(std::launch::async, [&] { (void)shared.get("H$@R", false, fail); }));
  }
  for (std::future<void>& caller : callers) EXPECT_THROW(caller.get(), std::runtime_error);
  EXPECT_EQ(asked, 1);
  EXPECT_THROW((void)shared.get("OTHER$@R", false, fail), std::runtime_error);
  EXPECT_EQ(asked, 2) << "another account is another question";
}

}  // namespace
}  // namespace tolk
