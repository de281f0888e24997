// What one run of the command does: exactly one of these.
#pragma once

namespace joinscope {

enum class Task {
  all,
  diag,
  domain,
  zone,
  zonedn,
  site,
  server,
  name,
  mode,
  config,
  support,
  debugcache,
  computer,
  auth,
  ntlmauth,
  test,
  joinedCount,
  version,
  productVersion,
  globalCatalog,
  sysinfo,
  orbinfo,
  help,
};

/// The name that the verbose dump shows; "<unknown>" for a task that has none, and for test and
/// orbinfo.
const char* taskName(Task task) noexcept;

}  // namespace joinscope
