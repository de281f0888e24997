// Called behind each section and each task, so that a line stands near the text it explains.
#include "cli/common/trouble_lines.h"

#include <ostream>
#include <string>

#include "cli/common/output.h"
#include "tolk/base/troubles.h"

namespace joinscope {

void tellTroubles(std::ostream& verbose) {
  for (const std::string& line : tolk::takeTroubles()) verbose << prefix(1) << line << '\n';
}

}  // namespace joinscope
