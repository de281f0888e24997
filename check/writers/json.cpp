// The judgement as one JSON object: docs/joincheck.schema.json.
// first: it sets what RapidJSON is compiled with
#include "tolk/base/json.h"

#include <rapidjson/stringbuffer.h>

#include <cmath>

#include "check/writers/writer.h"
#include "tolk/base/text.h"

namespace joinscope::check {
namespace {

constexpr int kSchema = 1;

class Object {
 public:
  Object() {
    out_.StartObject();
    number("schema", kSchema);
    text("version", ORVALD_RELEASE);
  }

  void text(const char* name, std::string_view value) {
    out_.Key(name);
    string(value);
  }
  void number(const char* name, std::int64_t value) {
    out_.Key(name);
    out_.Int64(value);
  }
  void seconds(const char* name, double value) {
    out_.Key(name);
    out_.Double(std::isfinite(value) ? value : 0);
  }
  void flag(const char* name, bool value) {
    out_.Key(name);
    out_.Bool(value);
  }
  void texts(const char* name, const std::vector<std::string>& values) {
    out_.Key(name);
    out_.StartArray();
    for (const std::string& value : values) string(value);
    out_.EndArray();
  }
  void ids(const char* name, const std::vector<const Rule*>& rules) {
    out_.Key(name);
    out_.StartArray();
    for (const Rule* rule : rules) string(rule->id);
    out_.EndArray();
  }
  void counts(const Counts& counts);
  void checks(const std::vector<Finding>& findings);

  std::string end() {
    out_.EndObject();
    return std::string(text_.GetString(), text_.GetSize()) + '\n';
  }

 private:
  void string(std::string_view value) {
    const std::string printable = tolk::printable(value);
    out_.String(printable.data(), static_cast<rapidjson::SizeType>(printable.size()));
  }

  rapidjson::StringBuffer text_;
  rapidjson::Writer<rapidjson::StringBuffer> out_{text_};
};

void Object::counts(const Counts& counts) {
  out_.Key("counts");
  out_.StartObject();
  number("fine", counts.fine);
  number("broken", counts.broken);
  number("warnings", counts.warnings);
  number("following", counts.following);
  number("unknown", counts.unknown);
  out_.EndObject();
}

void Object::checks(const std::vector<Finding>& findings) {
  out_.Key("checks");
  out_.StartArray();
  for (const Finding& finding : findings) {
    out_.StartObject();
    text("id", finding.rule->id);
    text("title", finding.rule->title);
    text("outcome", finding.outcome());
    text("text", finding.verdict.text);
    texts("next", finding.verdict.next);
    ids("causes", finding.causes);
    out_.EndObject();
  }
  out_.EndArray();
}

std::vector<const Rule*> rulesOf(const std::vector<const Finding*>& findings) {
  std::vector<const Rule*> rules;
  rules.reserve(findings.size());
  for (const Finding* finding : findings) rules.push_back(finding->rule);
  return rules;
}

}  // namespace

std::string jsonReport(const Judgement& judgement, const facts::Facts& facts) {
  Object object;
  object.text("host", hostOf(facts));
  object.text("domain", facts.join.domain);
  object.text("site", facts.network.site);
  object.flag("joining", facts.run.joining);
  object.text("verdict", tolk::toLower(judgement.word()));
  object.number("status", judgement.exitStatus());
  object.ids("firstCauses", rulesOf(judgement.firstCauses()));
  object.counts(judgement.counts());
  object.checks(judgement.findings);
  object.number("time", facts.host.now);
  object.seconds("seconds", facts.run.seconds);
  object.text("cut", facts.run.cut);
  object.texts("unfinished", facts.run.unfinished);
  return object.end();
}

std::string jsonError(std::string_view message, int status) {
  Object object;
  object.text("error", message);
  object.number("status", status);
  return object.end();
}

}  // namespace joinscope::check
