#include "tests/support/platform_server.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <fstream>
#include <limits>
#include <map>
#include <mutex>
#include <stdexcept>
#include <thread>

#include <httplib.h>

#include "tests/support/platform_rules.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/json.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"

namespace joinscope::test {
namespace {

using tolk::BadDataException;
using tolk::json::Value;

struct Answer {
  int status = 200;
  std::multimap<std::string, std::string> headers;
  std::string body;
  std::chrono::milliseconds delay{0};
  bool repeat = false;
};

struct Script {
  std::string client;
  int cookieUses = std::numeric_limits<int>::max();
  std::map<std::string, std::deque<Answer>> answers;
};

std::string text(const Value& value, const std::string& what) {
  if (!value.IsString()) throw BadDataException("the script's " + what + " is no string");
  return {value.GetString(), value.GetStringLength()};
}

void addHeader(Answer& answer, const std::string& name, const Value& value) {
  if (!value.IsArray()) {
    answer.headers.emplace(name, text(value, name));
    return;
  }
  for (const Value& one : value.GetArray()) answer.headers.emplace(name, text(one, name));
}

void setMember(Answer& answer, const std::string& name, const Value& value) {
  if (name == "status") {
    answer.status = value.GetInt();
  } else if (name == "headers") {
    for (const auto& header : value.GetObject()) {
      addHeader(answer, header.name.GetString(), header.value);
    }
  } else if (name == "json") {
    answer.body = tolk::json::write(value);
  } else if (name == "text") {
    answer.body = text(value, name);
  } else if (name == "delayMs") {
    answer.delay = std::chrono::milliseconds(value.GetInt());
  } else if (name == "repeat") {
    answer.repeat = value.GetBool();
  } else if (name != "padBytes") {
    throw BadDataException("the script has an unknown member " + name);
  }
}

Answer readAnswer(const Value& object) {
  Answer answer;
  for (const auto& member : object.GetObject()) {
    setMember(answer, member.name.GetString(), member.value);
  }
  if (const Value* pad = tolk::json::findMember(object, "padBytes")) {
    answer.body.append(pad->GetUint(), ' ');
  }
  return answer;
}

Script readScript(std::string_view source) {
  const tolk::json::Document document = tolk::json::parse(source);
  Script script{.client = tolk::json::stringMember(document, "client"), .answers = {}};
  if (const Value* uses = tolk::json::findMember(document, "cookieUses")) {
    script.cookieUses = uses->GetInt();
  }
  const Value* answers = tolk::json::findMember(document, "answers");
  if (answers == nullptr) throw BadDataException("the script has no answers");
  for (const auto& path : answers->GetObject()) {
    for (const Value& answer : path.value.GetArray()) {
      script.answers[path.name.GetString()].push_back(readAnswer(answer));
    }
  }
  return script;
}

PlatformRequest readRequest(const httplib::Request& request) {
  PlatformRequest result{
      .method = request.method, .path = {}, .query = {}, .headers = {}, .body = request.body};
  const std::size_t mark = std::min(request.target.find('?'), request.target.size());
  result.path = request.target.substr(0, mark);
  if (result.path.starts_with('/')) result.path.erase(0, 1);
  if (mark < request.target.size()) result.query = request.target.substr(mark + 1);
  for (const auto& [name, value] : request.headers) {
    std::string lower = name;
    std::ranges::transform(lower, lower.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    // The library adds these of its own.
    if (lower != "remote_addr" && lower != "remote_port" && lower != "local_addr" &&
        lower != "local_port") {
      result.headers.emplace(lower, value);
    }
  }
  return result;
}

/// Bytes that are not UTF-8 are shown as question marks: the record is JSON.
std::string printable(const std::string& bytes) {
  try {
    (void)tolk::json::write(Value(rapidjson::StringRef(bytes.data(), bytes.size())));
    return bytes;
  } catch (const BadDataException&) {
    std::string shown = bytes;
    std::ranges::replace_if(
        shown, [](char c) { return c < 0; }, '?');
    return shown;
  }
}

std::string writeRecord(const PlatformRequest& request, int status,
                        const std::vector<std::string>& faults) {
  tolk::json::Document record(rapidjson::kObjectType);
  auto& memory = record.GetAllocator();
  const auto string = [&memory](const std::string& value) {
    return tolk::json::makeString(printable(value), memory);
  };
  const std::vector<std::string> cookies = request.authCookies();
  const auto host = request.headers.find("host");
  record.AddMember("method", string(request.method), memory);
  record.AddMember("path", string(request.path), memory);
  record.AddMember("query", string(request.query), memory);
  record.AddMember("host", string(host == request.headers.end() ? "" : host->second), memory);
  record.AddMember("cookie", string(cookies.empty() ? "" : cookies.back()), memory);
  Value headers(rapidjson::kObjectType);
  for (auto header = request.headers.begin(); header != request.headers.end(); ++header) {
    const auto next = std::next(header);
    if (next != request.headers.end() && next->first == header->first) continue;
    headers.AddMember(string(header->first), string(header->second), memory);
  }
  record.AddMember("headers", headers, memory);
  record.AddMember("body", string(request.body), memory);
  record.AddMember("status", status, memory);
  Value list(rapidjson::kArrayType);
  for (const std::string& fault : faults) list.PushBack(string(fault), memory);
  record.AddMember("faults", list, memory);
  return tolk::json::write(record);
}

/// Takes from an answer what later requests must carry.
void remember(PlatformState& state, const std::string& path, const Answer& answer) {
  const auto [first, last] = answer.headers.equal_range("Set-Cookie");
  for (auto header = first; header != last; ++header) {
    const std::string cookie = authCookieOf(header->second);
    if (cookie.empty()) continue;
    if (path == "security/sso") state.machineCookies.push_back(cookie);
    if (path == "security/startimpersonate") state.userCookies.push_back(cookie);
  }
  try {
    const tolk::json::Document body = tolk::json::parse(answer.body);
    const Value* result = tolk::json::findMember(body, "Result");
    if (result == nullptr) return;
    const Value* session = tolk::json::findMember(*result, "SessionId");
    const Value* tenant = tolk::json::findMember(*result, "TenantId");
    if (session != nullptr && session->IsString()) {
      state.sessionId = session->GetString();
      state.answered.clear();
    }
    if (tenant != nullptr && tenant->IsString()) state.tenantId = tenant->GetString();
  } catch (const BadDataException&) {
    // The script may well play broken JSON.
  }
}

std::unique_ptr<httplib::Server> makeServer(const PlatformSettings& settings) {
  if (settings.certificate.empty()) {
    tolk::Props().set(tolk::PN::CLOUD_ALLOW_HTTP, "true");
    return std::make_unique<httplib::Server>();
  }
  auto server =
      std::make_unique<httplib::SSLServer>(settings.certificate.c_str(), settings.key.c_str());
  if (!server->is_valid()) throw std::runtime_error("cannot use " + settings.certificate);
  return server;
}

}  // namespace

class PlatformServer::Service {
 public:
  Service(const PlatformSettings& settings, std::string_view script)
      : script_(readScript(script)), server_(makeServer(settings)) {
    (void)faultsOf(script_.client, {}, {});
    if (!settings.record.empty()) record_.open(settings.record, std::ios::app);
    const auto handler = [this](const httplib::Request& request, httplib::Response& response) {
      serve(request, response);
    };
    server_->Get(".*", handler).Post(".*", handler).Put(".*", handler).Delete(".*", handler);
    constexpr std::size_t kThreads = 64;
    server_->new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
    server_->set_keep_alive_max_count(1000000);
    server_->set_keep_alive_timeout(1);  // seconds; the end waits for idle connections
    server_->set_tcp_nodelay(true);
    listen(settings);
  }
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  ~Service() {
    {
      const std::lock_guard guard(lock_);
      ending_ = true;
    }
    ended_.notify_all();
    server_->stop();
    listener_.join();
  }

  [[nodiscard]] int port() const { return port_; }
  [[nodiscard]] std::vector<std::string> records() const {
    const std::lock_guard guard(lock_);
    return records_;
  }
  [[nodiscard]] std::vector<std::string> faults() const {
    const std::lock_guard guard(lock_);
    return allFaults_;
  }

 private:
  void listen(const PlatformSettings& settings) {
    if (settings.port == 0) {
      port_ = server_->bind_to_any_port(settings.address);
    } else {
      port_ = server_->bind_to_port(settings.address, settings.port) ? settings.port : -1;
    }
    if (port_ <= 0) throw std::runtime_error("cannot listen at " + settings.address);
    listener_ = std::thread([this] { server_->listen_after_bind(); });
    // Until then the library forgets a stop().
    while (!server_->is_running()) std::this_thread::yield();
  }

  void serve(const httplib::Request& wire, httplib::Response& response) {
    const PlatformRequest request = readRequest(wire);
    const Answer answer = judge(request);
    response.status = answer.status;
    for (const auto& [name, value] : answer.headers) response.headers.emplace(name, value);
    response.set_content(answer.body, "application/json; charset=utf-8");
    std::unique_lock guard(lock_);
    ended_.wait_for(guard, answer.delay, [this] { return ending_; });
  }

  Answer judge(const PlatformRequest& request) {
    const std::lock_guard guard(lock_);
    std::vector<std::string> faults = faultsOf(script_.client, request, state_);
    Answer answer;
    if (!faults.empty()) {
      answer.status = 400;
      answer.body = R"({"success":false,"Message":"bad request"})";
    } else if (expired(request)) {
      answer.status = 401;
    } else if (auto& left = script_.answers[request.path]; !left.empty()) {
      answer = left.front();
      if (!answer.repeat) left.pop_front();
      number(answer);
      if (!request.query.empty()) state_.usedCodes.insert(request.query);
      if (request.body.find("\"Answer\":") != std::string::npos) {
        state_.answered.insert(request.body);
      }
      remember(state_, request.path, answer);
    } else {
      answer.status = 500;
      faults.push_back("no answer left");
    }
    for (const std::string& fault : faults) allFaults_.push_back(request.path + ": " + fault);
    records_.push_back(writeRecord(request, answer.status, faults));
    if (record_.is_open()) record_ << records_.back() << std::endl;
    return answer;
  }

  /// Whether the cookie of a request has been used up before.
  bool expired(const PlatformRequest& request) {
    if (!needsCookie(request.path)) return false;
    return ++uses_[request.authCookies().front()] > script_.cookieUses;
  }

  void number(Answer& answer) const {
    constexpr std::string_view kNumber = "%n";
    for (auto& [name, value] : answer.headers) {
      const std::size_t at = name == "Set-Cookie" ? value.find(kNumber) : std::string::npos;
      if (at != std::string::npos) {
        value.replace(at, kNumber.size(), std::to_string(records_.size()));
      }
    }
  }

  Script script_;
  PlatformState state_;
  std::map<std::string, int> uses_;  // of cookies
  std::unique_ptr<httplib::Server> server_;
  int port_ = -1;
  std::thread listener_;
  mutable std::mutex lock_;
  std::condition_variable ended_;
  bool ending_ = false;
  std::ofstream record_;
  std::vector<std::string> records_, allFaults_;
};

PlatformServer::PlatformServer(const PlatformSettings& settings, std::string_view script)
    : service_(std::make_unique<Service>(settings, script)) {}

PlatformServer::~PlatformServer() = default;

int PlatformServer::port() const {
  return service_->port();
}

std::vector<std::string> PlatformServer::records() const {
  return service_->records();
}

std::vector<std::string> PlatformServer::faults() const {
  return service_->faults();
}

}  // namespace joinscope::test
