// Small GETs on a kept connection: one tolk::CurlObject beside the same loop written on libcurl.
//
//   transfer_bench REQUESTS ROUNDS    both in turn; median rates and their ratio
//   transfer_bench object REQUESTS    the one alone, for a profiler
//   transfer_bench bare REQUESTS      the other alone
#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "cloud/http/curl_object.h"
#include "tolk/base/handle.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"

namespace {

constexpr std::string_view kBody = R"({"success":true,"Result":{"Summary":"LoginSuccess"}})";
constexpr long kOk = 200;
constexpr long kTimeoutSeconds = 30;

struct Header {
  const char* name;
  const char* value;
};
constexpr std::array kHeaders{Header{"Content-Type", "application/json"}, Header{"X-Client", "1"},
                              Header{"X-Source", "bench"}};

/// Answers every request alike, in a process of its own, so that its work is on no bill here.
class Responder {
 public:
  Responder() {
    listener_.reset(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* raw = reinterpret_cast<sockaddr*>(&address);
    if (::bind(listener_.get(), raw, size) != 0 || ::listen(listener_.get(), 16) != 0 ||
        ::getsockname(listener_.get(), raw, &size) != 0) {
      throw std::runtime_error("cannot listen on loopback");
    }
    port_ = ntohs(address.sin_port);
    pid_ = ::fork();
    if (pid_ < 0) throw std::runtime_error("cannot fork");
    if (pid_ != 0) return;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    serve();
    ::_exit(1);
  }
  Responder(const Responder&) = delete;
  Responder& operator=(const Responder&) = delete;
  ~Responder() {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }

  [[nodiscard]] std::string url() const {
    return "http://127.0.0.1:" + std::to_string(port_) + "/health/check";
  }

 private:
  struct Client {
    tolk::UniqueFd socket;
    std::string request;
  };

  void serve() {
    std::vector<Client> clients;
    std::vector<pollfd> waits;
    while (true) {
      waits.assign(1, {listener_.get(), POLLIN, 0});
      for (const Client& client : clients) waits.push_back({client.socket.get(), POLLIN, 0});
      if (::poll(waits.data(), waits.size(), -1) < 0) return;
      for (std::size_t i = clients.size(); i-- > 0;) {
        if (waits[i + 1].revents != 0 && !answer(clients[i])) {
          clients.erase(clients.begin() + static_cast<std::ptrdiff_t>(i));
        }
      }
      if (waits[0].revents != 0) clients.push_back(accept());
    }
  }

  [[nodiscard]] Client accept() const {
    Client client;
    client.socket.reset(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    const int on = 1;
    (void)::setsockopt(client.socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return client;
  }

  // A GET has no body and the client waits for the answer: what ends with an empty line is one.
  bool answer(Client& client) const {
    std::array<char, 4096> bytes;
    const ssize_t got = ::recv(client.socket.get(), bytes.data(), bytes.size(), 0);
    if (got <= 0) return false;
    client.request.append(bytes.data(), static_cast<std::size_t>(got));
    if (!client.request.ends_with("\r\n\r\n")) return true;
    client.request.clear();
    return ::send(client.socket.get(), answer_.data(), answer_.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(answer_.size());
  }

  std::string answer_ =
      "HTTP/1.1 200 OK\r\nServer: bench\r\nContent-Type: application/json; charset=utf-8\r\n"
      "Cache-Control: no-cache\r\nContent-Length: " +
      std::to_string(kBody.size()) + "\r\n\r\n" + std::string(kBody);
  tolk::UniqueFd listener_;
  int port_ = 0;
  pid_t pid_ = -1;
};

void check(bool right) {
  if (!right) throw std::runtime_error("a transfer failed");
}

/// The product's transfers.
class ObjectClient {
 public:
  void get(const std::string& url) {
    for (const Header& header : kHeaders) transfer_.addHeader(header.name, header.value);
    transfer_.makeRequest(url, {}, false);
    check(transfer_.responseCode() == kOk && transfer_.responseBody() == kBody &&
          !transfer_.responseHeaders().empty());
  }

 private:
  tolk::CurlObject transfer_;
};

/// What a caller of libcurl would write for the same. It shares the memory functions that
/// tolk::startCurl() sets for the whole process, which zero what they free: the price of the
/// wrapper is measured, not that of wiping.
class BareClient {
 public:
  BareClient() {
    tolk::startCurl();
    handle_.reset(curl_easy_init());
    check(handle_ != nullptr);
    set(CURLOPT_COOKIEFILE, "");
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_SSL_VERIFYPEER, 1L);
    set(CURLOPT_SSL_VERIFYHOST, 2L);
    set(CURLOPT_TIMEOUT, kTimeoutSeconds);
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_PROXY, "");
    set(CURLOPT_WRITEFUNCTION, &onBody);
    set(CURLOPT_WRITEDATA, this);
    set(CURLOPT_HEADERFUNCTION, &onHeader);
    set(CURLOPT_HEADERDATA, this);
  }

  void get(const std::string& url) {
    std::unique_ptr<curl_slist, tolk::Releaser<&curl_slist_free_all>> list;
    for (const Header& header : kHeaders) {
      const std::string line = std::string(header.name) + ": " + header.value;
      curl_slist* longer = curl_slist_append(list.get(), line.c_str());
      check(longer != nullptr);
      (void)list.release();
      list.reset(longer);
    }
    body_.clear();
    headers_.clear();
    set(CURLOPT_HTTPHEADER, list.get());
    set(CURLOPT_URL, url.c_str());
    check(curl_easy_perform(handle_.get()) == CURLE_OK);
    set(CURLOPT_HTTPHEADER, nullptr);
    long status = 0;
    check(curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status) == CURLE_OK);
    check(status == kOk && body_ == kBody && !headers_.empty());
  }

 private:
  template <typename Value>
  void set(CURLoption option, Value value) {
    check(curl_easy_setopt(handle_.get(), option, value) == CURLE_OK);
  }

  static std::size_t onBody(char* data, std::size_t size, std::size_t count, void* self) {
    static_cast<BareClient*>(self)->body_.append(data, size * count);
    return size * count;
  }
  static std::size_t onHeader(char* line, std::size_t size, std::size_t count, void* self) {
    static_cast<BareClient*>(self)->headers_.emplace_back(line, size * count);
    return size * count;
  }

  std::unique_ptr<CURL, tolk::Releaser<&curl_easy_cleanup>> handle_;
  std::string body_;
  std::vector<std::string> headers_;
};

template <typename Client>
double secondsFor(Client& client, const std::string& url, int requests) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < requests; i++) client.get(url);
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// Keeps both ends on the processor they run on. A wake-up across processors takes longer than all
/// that is measured, and how long changes with where the scheduler puts the responder.
void stayOnOneProcessor() {
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(static_cast<unsigned>(std::max(::sched_getcpu(), 0)), &one);
  (void)::sched_setaffinity(0, sizeof one, &one);
}

/// Which of the two goes first changes with each round.
void compare(const std::string& url, int requests, int rounds) {
  ObjectClient object;
  BareClient bare;
  object.get(url);  // connected and warm before the clock runs
  bare.get(url);
  std::vector<double> objectTimes, bareTimes;
  for (int round = 0; round < rounds; round++) {
    if (round % 2 == 0) objectTimes.push_back(secondsFor(object, url, requests));
    bareTimes.push_back(secondsFor(bare, url, requests));
    if (round % 2 != 0) objectTimes.push_back(secondsFor(object, url, requests));
  }
  const double objectRate = requests / median(objectTimes);
  const double bareRate = requests / median(bareTimes);
  std::printf("%-55s %10.0f /s\n", "one CurlObject", objectRate);
  std::printf("%-55s %10.0f /s\n", "libcurl's easy interface", bareRate);
  std::printf("%-55s %12.3f\n", "ratio (wanted: at least 0.95)", objectRate / bareRate);
}

int number(std::string_view text) {
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size() || value < 1) {
    throw std::runtime_error("a number of at least 1 is wanted, not " + std::string(text));
  }
  return value;
}

template <typename Client>
void profile(const std::string& url, int requests) {
  Client client;
  (void)secondsFor(client, url, requests);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    if (argc != 3) throw std::runtime_error("usage: transfer_bench REQUESTS|object|bare NUMBER");
    const std::string_view what = argv[1];
    const int last = number(argv[2]);
    stayOnOneProcessor();
    tolk::Props().set(tolk::PN::CLOUD_ALLOW_HTTP, "true");
    const Responder server;
    if (what == "object") {
      profile<ObjectClient>(server.url(), last);
    } else if (what == "bare") {
      profile<BareClient>(server.url(), last);
    } else {
      compare(server.url(), number(what), last);
    }
    return EXIT_SUCCESS;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "transfer_bench: %s\n", e.what());
    return EXIT_FAILURE;
  }
}
