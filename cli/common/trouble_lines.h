// What the library met on its way, as lines of the diagnostic stream.
#pragma once

#include <iosfwd>

namespace joinscope {

/// Writes the lines kept since the last call (tolk::takeTroubles), indented by one level. `diag`
/// may be null: the lines are then dropped.
void tellTroubles(std::ostream* diag);

}  // namespace joinscope
