// The support bundle: what is in it, in which order, and what it says when not all is in it.
#pragma once

#include <string>
#include <vector>

namespace tolk {
class HeldSignals;
}

namespace joinscope {

/// What came of a bundle.
struct BundleResult {
  std::string path;
  std::string failure;  ///< why there is none; else empty
  std::string reason;   ///< why not all is in it; else empty
  std::string notes;    ///< the first lines of what was left out
};

/// Packs `report` and the stack trace beside it in the private temporary directory, the agent's
/// log, /etc/orvald and then `paths` into `report`.tar.gz, without the secrets in them. A signal
/// that shall end the process, a full disk and the like end the work early: the bundle then holds
/// what came before and a file that names what is missing. Until the paths are packed such a bundle
/// is already there, so that one remains even when a path never answers. `signal` can be read when
/// a signal has come.
BundleResult makeBundle(const std::string& report, const std::vector<std::string>& paths,
                        const tolk::HeldSignals& signals);

}  // namespace joinscope
