// Names and bits of the system information modules. The daemon knows the bits.
#include "cli/sysinfo_modules.h"

#include <array>

#include "tolk/base/text.h"

namespace joinscope {
namespace {

struct Module {
  std::string_view name;
  std::uint32_t bits;
};

constexpr std::array kModules{
    Module{"all", 0xFFFFFFBF},  // 0x40 has no name of its own
    Module{"dns", 0x1},           Module{"domain", 0x2},         Module{"netstate", 0x4},
    Module{"adagent", 0x8},       Module{"config", 0x10},        Module{"pmon", 0x80},
    Module{"pmon_enable", 0x100}, Module{"pmon_disable", 0x200}, Module{"zone", 0x400},
    Module{"health", 0x800},      Module{"orb", 0x1000},         Module{"cloud", 0x1000},
};

std::uint32_t moduleBits(std::string_view name) {
  for (const Module& module : kModules) {
    if (tolk::equalsIgnoringCase(module.name, name)) return module.bits;
  }
  return 0;
}

}  // namespace

ModuleList parseSysinfoModules(std::string_view text) {
  ModuleList list;
  for (const std::string& item : tolk::split(text, ',')) {
    const std::uint32_t bits = moduleBits(item);
    if (bits == 0) return {.mask = 0, .valid = false, .invalidItem = item};
    list.mask |= bits;
  }
  return list;
}

}  // namespace joinscope
