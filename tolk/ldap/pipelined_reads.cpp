// A queue of searches on the wire and a queue of those that wait for room. After one silence
// nothing later is waited for.
#include "tolk/ldap/pipelined_reads.h"

#include <cassert>
#include <utility>

#include "tolk/base/exceptions.h"
#include "tolk/ldap/ldap_connection.h"

namespace tolk {

PipelinedReads::PipelinedReads(LDAPBinding& binding)
    : connection_(binding.connection()),
      budget_(std::make_unique<SearchBudget>(LdapConnection::budgetFor({}))) {}

PipelinedReads::~PipelinedReads() {
  for (const Outstanding& read : outstanding_) {
    if (!read.error) connection_->abandon(read.id);
  }
}

std::size_t PipelinedReads::add(const std::string& filter, const std::string& base,
                                const char* const* attributes, int scope) {
  waiting_.push_back(
      {.base = base, .scope = scope, .filter = filter, .attributes = attributeList(attributes)});
  fillWindow();
  return added_++;
}

void PipelinedReads::fillWindow() {
  while (outstanding_.size() < kWindow && !waiting_.empty()) {
    Outstanding read{.request = std::move(waiting_.front()), .id = -1, .error = silence_};
    waiting_.pop_front();
    try {
      if (!silence_) read.id = connection_->send(read.request);
    } catch (...) {
      read.error = std::current_exception();
    }
    outstanding_.push_back(std::move(read));
  }
}

ADObjectList PipelinedReads::next() {
  assert(pending() > 0);
  const Outstanding read = std::move(outstanding_.front());
  outstanding_.pop_front();
  try {
    if (read.error) std::rethrow_exception(read.error);
    // Answers to the later reads that come meanwhile stay with the library until their turn.
    SearchResult result = connection_->receive(read.id, read.request, *budget_);
    budget_->earn(1);
    fillWindow();
    return std::move(result.objects);
  } catch (const LDAPException& failure) {
    if (failure.code() == LDAP_TIMEOUT) giveUp();
    fillWindow();
    throw;
  }
}

// The server was silent for a whole limit, and owes the later reads an answer for as long.
void PipelinedReads::giveUp() {
  silence_ = std::current_exception();
  for (Outstanding& read : outstanding_) {
    if (!read.error) connection_->abandon(read.id);
    read.error = silence_;
  }
}

}  // namespace tolk
