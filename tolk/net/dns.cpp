// Records are queries of their own without search domains; hosts are in host_query.cpp.
#include "tolk/net/dns.h"

#include <arpa/nameser.h>

#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/base/troubles.h"
#include "tolk/net/configured_controllers.h"
#include "tolk/net/dns_question.h"
#include "tolk/net/dns_records.h"
#include "tolk/net/dns_task.h"
#include "tolk/net/host_query.h"

namespace tolk {
namespace {

constexpr const char* kLogger = "base.net.dns";

// One SRV or PTR query without search domains; what the answers mean differs.
class RecordTask : public DnsTask<HostPortList> {
 public:
  RecordTask(EventLoop& loop, std::string name, int type, std::chrono::milliseconds limit)
      : DnsTask(loop, std::move(name), limit), type_(type) {}
  ~RecordTask() override { abandon(); }

 protected:
  virtual HostPortList read(const std::string& message) = 0;
  void giveUp(const DnsWalk& walk) override {
    throw DNSUnavailableException(walk.problem(), ARES_ECONNREFUSED);
  }

 private:
  static void onAnswer(void* self, int status, int /*timeouts*/, unsigned char* bytes,
                       int size) noexcept {
    auto& task = *static_cast<RecordTask*>(self);
    if (bytes != nullptr) {
      // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): bytes to bytes
      task.message_.assign(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size));
    }
    task.answered(status);
  }

  void ask(ares_channel channel) override {
    // A C string would end at the NUL and name something else.
    if (name().find('\0') != std::string::npos) return answered(ARES_EBADNAME);
    ares_query(channel, name().c_str(), ns_c_in, type_, &onAnswer, this);
  }

  void conclude(int status, ares_channel /*channel*/) final {
    switch (status) {
      case ARES_SUCCESS:
        return finish(read(message_));
      case ARES_ENOTFOUND:
      case ARES_ENODATA:
        return finish({});
      case ARES_EBADNAME:
        throw BadDataException("\"" + shownName(name()) + "\" is not a DNS name", status);
      default:
        throw DNSUnavailableException(std::string("DNS library: ") + ares_strerror(status), status);
    }
  }

  int type_;
  std::string message_;
};

class ServiceTask final : public RecordTask {
 public:
  ServiceTask(EventLoop& loop, std::string name, std::chrono::milliseconds limit)
      : RecordTask(loop, std::move(name), ns_t_srv, limit) {}

 private:
  HostPortList read(const std::string& message) override { return readServiceRecords(message); }
};

class PointerTask final : public RecordTask {
 public:
  PointerTask(EventLoop& loop, std::string name, std::chrono::milliseconds limit)
      : RecordTask(loop, std::move(name), ns_t_ptr, limit) {}

 private:
  HostPortList read(const std::string& message) override {
    try {
      return readPointerRecords(message);
    } catch (const BadDataException& failure) {
      noteTrouble(kLogger, std::string(failure.what()) + " for " + name());
      return {};
    }
  }

  // Only silence is a failure: a server that refuses or cannot answer has no record to give, for a
  // report that is "not found".
  void giveUp(const DnsWalk& walk) override {
    if (!walk.heard()) return RecordTask::giveUp(walk);
    noteTrouble(kLogger, printable(walk.problem()));
    finish({});
  }
};

}  // namespace

Pending<HostPortList> startSrvLookup(EventLoop& loop, const std::string& name,
                                     std::chrono::milliseconds limit) {
  return startTask<ServiceTask>(loop, name, limit);
}

Pending<HostPortList> startPtrLookup(EventLoop& loop, const std::string& address,
                                     std::chrono::milliseconds limit) {
  return startTask<PointerTask>(loop, reverseName(address), limit);
}

int FindSrvFromDns(const std::string& name, HostPortList& out, int /*reserved1*/, int /*reserved2*/,
                   int /*reserved3*/) {
  EventLoop loop;
  const HostPortList found = startSrvLookup(loop, name).wait();
  out.insert(out.end(), found.begin(), found.end());
  return found.empty() ? 0 : 1;
}

int FindSrv(const std::string& name, HostPortList& out) {
  std::exception_ptr failure;
  try {
    if (FindSrvFromDns(name, out, 0, 0, 0) == 1) return 1;
  } catch (const Base_Exception&) {
    failure = std::current_exception();
  }
  const HostPortList configured = configuredControllers(name);
  const HostPortList known = configured.empty() ? recordedControllers(name) : configured;
  out.insert(out.end(), known.begin(), known.end());
  if (configured.empty() && failure) std::rethrow_exception(failure);
  return 0;
}

int FindPtrFromDns(const std::string& address, HostPortList& out) {
  EventLoop loop;
  const HostPortList found = startPtrLookup(loop, address).wait();
  out.insert(out.end(), found.begin(), found.end());
  return found.empty() ? -1 : static_cast<int>(found.size());
}

}  // namespace tolk
