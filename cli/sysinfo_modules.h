// The modules of the daemon's system information, as --sysinfo names them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace joinscope {

/// A list of modules as a bit mask, or the first item that names none.
struct ModuleList {
  std::uint32_t mask = 0;
  bool valid = true;
  std::string invalidItem;  ///< as written; may be empty
};

/// Reads modules separated by commas, compared without case. An empty item names none.
ModuleList parseSysinfoModules(std::string_view text);

}  // namespace joinscope
