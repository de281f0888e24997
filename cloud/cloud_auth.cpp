// Authenticates one user at the platform.
#include "cloud/cloud_auth.h"

#include "cloud/certificate_check.h"
#include "cloud/cloud_conn_pool.h"
#include "cloud/cloud_json.h"
#include "cloud/cloud_log.h"
#include "tolk/base/locked_memory.h"

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

}  // namespace

CloudAuth::CloudAuth(std::string url, MfaRequest request)
    : url_(std::move(url)), request_(std::move(request)) {}

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
  transfer_ = CloudConnPool::getInstance().getCurl(userName, programName);
  checkPlatformCertificate(*transfer_, kLog);
}

void CloudAuth::setProxy(const HttpProxy& proxy) {
  proxy_ = proxy;
  CloudConnPool::getInstance().setProxy(proxy);
}

CurlObject& CloudAuth::transfer() {
  getCurl(request_.user, request_.program);
  return *transfer_;
}

bool CloudAuth::processResult() {
  CloudConnPool::dumpPlnHeader(transfer());
  return isSuccess(transfer(), answer_, kLog);
}

bool CloudAuth::post(const char* path, Members members) {
  LockedText body;
  json::writePairs(body, members);
  answer_ = json::Document();
  transfer().makeRequest(url_ + path, body.view(), true);
  return processResult();
}

const json::Value& CloudAuth::result() const {
  static const json::Value kNone(rapidjson::kObjectType);
  const json::Value* found = json::findMember(answer_, JSON_MEMBER_RESULT);
  return found != nullptr && found->IsObject() ? *found : kNone;
}

}  // namespace tolk
