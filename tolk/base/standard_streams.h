// The three standard descriptors at the start of a program.
#pragma once

namespace tolk {

/// Opens those that are closed so that their use fails, as otherwise the next file or socket would
/// take the number and receive what is printed. To be called first.
void holdStandardStreams() noexcept;

}  // namespace tolk
