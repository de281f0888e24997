// What the library met on its way, as lines of the diagnostic stream.
#pragma once

#include <iosfwd>

namespace joinscope {

/// Writes the lines kept since the last call (tolk::takeTroubles), indented by one level.
void tellTroubles(std::ostream& verbose);

}  // namespace joinscope
