// Authenticates one user at the platform.
#include "cloud/signon/cloud_auth.h"

#include <algorithm>

#include "cloud/http/certificate_check.h"
#include "cloud/http/cloud_conn_pool.h"
#include "cloud/http/cloud_exceptions.h"
#include "cloud/http/cloud_log.h"
#include "cloud/signon/cloud_json.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/locked_memory.h"
#include "tolk/base/text.h"

namespace tolk {
namespace {

constexpr CloudLog kLog{"cloud.object"};

/// Grows in locked memory: an answer may be a password.
class LockedText {
 public:
  using Ch = char;
  void Put(char c) {
    if (length_ == memory_.size()) grow();
    memory_.data()[length_++] = c;
  }
  void Flush() noexcept {}
  [[nodiscard]] std::string_view view() const noexcept { return {memory_.data(), length_}; }

 private:
  void grow() {
    constexpr std::size_t kFirst = 4096;
    LockedMemory larger(memory_.size() == 0 ? kFirst : 2 * memory_.size());
    std::copy_n(memory_.data(), length_, larger.data());
    memory_ = std::move(larger);
  }

  LockedMemory memory_;
  std::size_t length_ = 0;
};

bool isHostName(const std::string& text) {
  return std::ranges::all_of(text, [](unsigned char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
           c == '-' || c == ':';
  });
}

}  // namespace

CloudAuth::CloudAuth(PlatformWay way, MfaRequest request)
    : way_(std::move(way)), url_(way_.platform), request_(std::move(request)) {
  if (url_.empty()) throw CloudException("No address of the cloud platform is known");
}

CloudAuth::~CloudAuth() {
  CloudConnPool::getInstance().releaseCurl(transfer_.get());
}

std::string CloudAuth::getSelectText(const MfaMechanism& mechanism) const {
  return selectText(mechanism);
}

std::string CloudAuth::getAnswerPrompt(const MfaMechanism& mechanism) const {
  return answerPrompt(mechanism);
}

void CloudAuth::getCurl(const std::string& userName, const std::string& programName) {
  if (transfer_) return;
  transfer_ = CloudConnPool::getInstance().getCurl(userName, programName, way_.proxy);
  checkPlatformCertificate(*transfer_, kLog);
  transfer_->addCookies(std::exchange(cookies_, {}));
}

void CloudAuth::releaseCurl() {
  if (!transfer_) return;
  cookies_ = transfer_->cookies();
  CloudConnPool::getInstance().releaseCurl(transfer_.get());
  transfer_.reset();
}

CurlObject& CloudAuth::transfer() {
  getCurl(request_.user, request_.program);
  return *transfer_;
}

bool CloudAuth::processResult() {
  CloudConnPool::dumpPlnHeader(transfer());
  try {
    return isSuccess(transfer(), answer_, kLog);
  } catch (const BadDataException& e) {
    // Something on the way has answered in the platform's place.
    kLog.debug("%s", {e.what()});
    return false;
  }
}

bool CloudAuth::post(const char* path, Members members) {
  LockedText body;
  json::writePairs(body, members);
  answer_ = json::Document();
  way_.request(transfer(), url_ + path, body.view(), true);
  return processResult();
}

void CloudAuth::postWhereUserIs(const char* path, Members members) {
  constexpr int kMostMoves = 3;
  for (int moves = 0;; ++moves) {
    if (moves > kMostMoves || !post(path, members)) {
      throw CloudException("Failed to startAuthentication");
    }
    if (!moveToPod()) return;
  }
}

// Whether the last answer names another host than the present one.
bool CloudAuth::moveToPod() {
  const std::string pod = textMember(result(), JSON_MEMBER_POD_FQDN);
  if (pod.empty()) return false;
  if (!isHostName(pod)) {
    throw CloudException("The platform names a host that is none: '" + printable(pod) + "'");
  }
  std::string moved = url_.substr(0, url_.find("://")) + "://" + pod + "/";
  if (equalsIgnoringCase(moved, url_)) return false;
  url_ = std::move(moved);
  return true;
}

const json::Value& CloudAuth::result() const {
  static const json::Value kNone(rapidjson::kObjectType);
  const json::Value* found = json::findMember(answer_, JSON_MEMBER_RESULT);
  return found != nullptr && found->IsObject() ? *found : kNone;
}

}  // namespace tolk
