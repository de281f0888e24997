// SIGINT and SIGTERM as something that a wait can end by.
#pragma once

#include "tolk/base/handle.h"

namespace joinscope::check {

/// Takes both from now on, in this thread and those that it starts. The first that comes makes a
/// descriptor readable; after that they end the process as they always do.
class Interrupt {
 public:
  Interrupt();

  [[nodiscard]] int descriptor() const { return signals_.get(); }
  /// The name of the one that came, which is taken; "" when none did.
  const char* take();

 private:
  tolk::UniqueFd signals_;
};

}  // namespace joinscope::check
