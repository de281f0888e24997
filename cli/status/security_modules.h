// SELinux and AppArmor, which may keep an agent from its files.
#pragma once

#include <string>

namespace joinscope {

/// On a host with SELinux: an empty line, the output of sestatus(8) and semodule(8), and a line
/// end. The last status, or 0 without SELinux.
int showSelinuxStatus();

/// On a host with AppArmor: an empty line, a heading, the output of aa-status(8), where its
/// profiles speak of the agent, and a line end. The last status, or 0 without AppArmor.
int showAppArmorStatus();

/// Whether AppArmor is installed, by its profile directory and its init script or systemd unit.
/// What speaks against it is logged.
bool hasAppArmorInstalled();

}  // namespace joinscope
