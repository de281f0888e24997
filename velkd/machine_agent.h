// The directory agent of the cloud client: sessions with the machine keytab, apart from the
// daemon's own binding, so that a long search keeps no caller waiting.
#pragma once

#include <memory>

#include "tolk/ldap/ad_agent.h"
#include "velkd/status.h"

namespace velkd {

class MachineAgent final : public tolk::ADAgent {
 public:
  /// `board` must outlive the agent.
  explicit MachineAgent(const StatusBoard& board) : board_(board) {}

  [[nodiscard]] std::unique_ptr<tolk::ADSession> open() override;
  [[nodiscard]] bool inZone() const override;
  [[nodiscard]] bool isConnected() const override { return board_.get().connected; }

 private:
  const StatusBoard& board_;
};

}  // namespace velkd
