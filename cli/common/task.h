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

}  // namespace joinscope
