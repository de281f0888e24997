// Report and stack trace, then logs, then the paths; a mark behind each whole entry is the place
// to which the file is cut back when something ends the work.
#include "cli/support/bundle/bundle.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <memory>

#include "cli/support/bundle/bundle_file.h"
#include "cli/support/bundle/collector.h"
#include "cli/support/bundle/notes.h"
#include "cli/support/bundle/tar_writer.h"
#include "tolk/base/child_process.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/handle.h"
#include "tolk/base/private_directory.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/base/text.h"

namespace joinscope {
namespace {

constexpr char kEnding[] = ".tar.gz";
constexpr char kNotesName[] = "./left-out.txt";
constexpr std::size_t kShownLines = 40;

std::uint64_t limitOf(const tolk::Property& property) {
  constexpr long kMost = 1 << 20;
  return static_cast<std::uint64_t>(tolk::Props().getNumber(property, 1, kMost)) << 20;
}

/// One bundle at work.
class Bundle {
 public:
  Bundle(const std::string& report, const std::vector<std::string>& paths,
         const tolk::HeldSignals& signals)
      : report_(report),
        paths_(paths),
        file_(report + kEnding),
        tar_(file_),
        collector_(file_, tar_, notes_, signals, absolute(report) + kEnding) {}

  void make() {
    try {
      addFixed();
      if (!paths_.empty()) addPaths();
      file_.mark(collector_.last());
    } catch (const Interrupted&) {
      endEarly("ended by a signal", collector_.insideEntry());
    } catch (const tolk::IOException& failure) {
      endEarly(failure.what(), true);
    }
    try {
      conclude();
    } catch (const tolk::IOException& failure) {
      endEarly(failure.what(), true);
      concludeInLessRoom();
    }
  }

  [[nodiscard]] const std::string& reason() const noexcept { return reason_; }
  [[nodiscard]] std::string shownNotes() const { return notes_.text(kShownLines); }

 private:
  static std::string absolute(const std::string& path) {
    const std::unique_ptr<char, tolk::Releaser<std::free>> real(::realpath(path.c_str(), nullptr));
    return real ? real.get() : path;
  }

  void addFixed() {
    addOne(report_, TextKind::report, Oversize::keepStart);
    std::array<char, PATH_MAX> folder{};
    if (tolk::GetPellionTempDirForCurrentUser(folder.data(), folder.size()) == 0) {
      const std::string temporary = folder.data();
      addOne(temporary + "/stacktrace.txt", TextKind::plain, Oversize::keepStart);
      // Facts have no secret in them, and would be no JSON any more with a value left out.
      addOne(temporary + "/joincheck.json", TextKind::report, Oversize::leaveOut);
      addOne(temporary + "/joincheck.txt", TextKind::plain, Oversize::keepStart);
    }
    addOne("/var/log/orvald.log", TextKind::plain, Oversize::keepEnd);
    // What logrotate(8) took of it last.
    constexpr char kLogBefore[] = "/var/log/orvald.log.1.gz";
    if (::access(kLogBefore, F_OK) == 0) addOne(kLogBefore, TextKind::plain, Oversize::leaveOut);
    addOne("/etc/orvald", TextKind::plain, Oversize::leaveOut);
  }

  void addOne(const std::string& path, TextKind kind, Oversize oversize) {
    std::uint64_t limit = limitOf(tolk::PN::SUPPORT_BUNDLE_LOG_MAX);
    collector_.add(path, kind, oversize, limit);
    file_.mark(collector_.last());
  }

  void addPaths() {
    publishFixed();
    std::uint64_t limit = limitOf(tolk::PN::SUPPORT_BUNDLE_PATHS_MAX);
    for (; pathsDone_ < paths_.size(); ++pathsDone_) {
      collector_.add(paths_[pathsDone_], TextKind::plain, Oversize::leaveOut, limit);
    }
  }

  // A bundle without the paths, and on with another one that shall hold them as well.
  void publishFixed() {
    if (file_.isNamed()) return;
    reason_ = "it ended, or had no room left, while the paths were read";
    writeNotes();
    tar_.finish();
    file_.publish(false);
    fixedIsThere_ = true;
    file_.goOn();
    tar_.restart();
    reason_.clear();
  }

  void endEarly(const std::string& reason, bool insideEntry) {
    reason_ = reason;
    if (!insideEntry) return file_.mark(collector_.last());
    file_.cutToMark();
    tar_.restart();
  }

  void conclude() {
    if (!reason_.empty() || !notes_.empty()) writeNotes();
    tar_.finish();
    file_.publish(reason_.empty());
  }

  // Gives entries up until the rest fits. What is published already is no less.
  void concludeInLessRoom() {
    for (;;) {
      try {
        return conclude();
      } catch (const tolk::IOException&) {
        const bool more = file_.dropMark();
        if (!more && fixedIsThere_) return;
        if (!more) throw;
        tar_.restart();
      }
    }
  }

  void writeNotes() {
    std::string text;
    if (!reason_.empty()) {
      const std::string last = tolk::printable(file_.last());
      text = "This bundle is not complete: " + tolk::printable(reason_) + "\n" +
             (last.empty()
                  ? "Nothing else is in it.\n"
                  : "It is whole up to " + last + "; what would have come then is missing.\n");
      for (std::size_t path = pathsDone_; path < paths_.size(); ++path) {
        text += tolk::printable(paths_[path]) + ": missing, or part of it\n";
      }
    }
    text += notes_.text();
    struct stat status {};
    status.st_mode = S_IFREG | S_IRUSR;
    status.st_mtim.tv_sec = std::time(nullptr);
    tar_.begin(kNotesName, status, text.size());
    tar_.data(text);
    tar_.end();
  }

  std::string report_;
  std::vector<std::string> paths_;
  Notes notes_;
  BundleFile file_;
  TarWriter tar_;
  Collector collector_;
  std::size_t pathsDone_ = 0;
  std::string reason_;
  bool fixedIsThere_ = false;
};

}  // namespace

BundleResult makeBundle(const std::string& report, const std::vector<std::string>& paths,
                        const tolk::HeldSignals& signals) {
  BundleResult result{.path = report + kEnding};
  try {
    Bundle bundle(report, paths, signals);
    bundle.make();
    result.reason = bundle.reason();
    result.notes = bundle.shownNotes();
  } catch (const tolk::IOException& failure) {
    result.failure = failure.what();
  }
  return result;
}

}  // namespace joinscope
