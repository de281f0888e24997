// The authenticated directory binding of a run: made once, on first demand, from the credentials
// that the run has.
#pragma once

#include <boost/shared_ptr.hpp>
#include <iosfwd>

namespace tolk {
class ADBinding;
}

namespace joinscope {

struct TaskContext;

/// The run's binding to the context's domain, kept in the context. Empty on failure, with the
/// context's errorMessage and errorCode set, and for an empty domain, without either. `server` may
/// be null: a controller is chosen. `verbose`, which may be null, is told about progress. Never
/// throws for a failure of the directory, Kerberos or the network.
boost::shared_ptr<tolk::ADBinding> getBinding(TaskContext& context, const char* server,
                                              std::ostream* verbose);

/// The run's binding to a global catalog of the forest, made from the domain binding. Empty on
/// failure; a missing domain binding also puts the context's errorMessage on standard output.
boost::shared_ptr<tolk::ADBinding> getGCBinding(TaskContext& context);

/// Makes the context's configuration naming context that of the forest which the binding is in: one
/// found before may be of this host's forest, while another is asked about. Kept where the binding
/// cannot tell.
void takeConfigurationContext(TaskContext& context, tolk::ADBinding& binding);

/// Makes the context's KerberosContext unless there is one; throws tolk::KerberosException.
void ensureKerberosContext(TaskContext& context);

/// Binds with the user's password, the user's own ticket cache or the computer account; for
/// getBinding() only, which has prepared the Kerberos context and the memory cache. Empty on
/// failure, as above.
boost::shared_ptr<tolk::ADBinding> createBinding(TaskContext& context, const char* server,
                                                 std::ostream* verbose);

}  // namespace joinscope
