#include "Sweep.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <functional>
#include <iostream>
#include <new>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "FaultLayer.h"
#include "Process.h"
#include "Scratch.h"
#include "Shared.h"
#include "common.h"

namespace {

using faults::Mode;

constexpr unsigned kWatchdogSeconds = 10;
constexpr size_t kReportBytes = 1 << 16;
constexpr size_t kMostFaults = 100;
constexpr char kAtTimes = '?';

// What the child that runs a scenario tells.
struct Report {
  char result[kReportBytes];  // of the faulted run
  char again[kReportBytes];   // of the next run, without a fault
  char files[kReportBytes];   // left in /tmp
  bool printed;
  bool exhausted;   // an allocation failed, and the caller saw it
  int descriptors;  // left open by the faulted run
  bool children;
  int injected;
  bool complete;
};

struct Totals {
  std::atomic<int> scenarios;
  std::atomic<int> runs;
  std::atomic<int> faults;
  std::atomic<int> fellShort;
  std::atomic<bool> met[kMostFaults];  // faults that were injected
};

Totals* totals = nullptr;

template <size_t size>
void store(char (&to)[size], const std::string& text) {
  to[text.copy(to, size - 1)] = '\0';
}

void makeWorkspace() {
  std::filesystem::current_path("/");
  for (const auto& entry : std::filesystem::directory_iterator("/tmp"))
    std::filesystem::remove_all(entry.path());
  std::filesystem::create_directories("/tmp/sweep");
  std::filesystem::create_directories("/tmp/log");
  std::filesystem::current_path("/tmp/sweep");
}

// What lies in /tmp besides the scenario's own directories.
std::string strayFiles() {
  std::string files;
  for (const auto& entry : std::filesystem::directory_iterator("/tmp")) {
    const std::string path = entry.path();
    if (path != "/tmp/sweep" && path != "/tmp/log") files += path + " ";
  }
  return files;
}

// Runs the scenario with standard output into a file, from `arm` on with its faults.
void perform(const Scenario& scenario, const std::function<void()>& arm,
             char (&result)[kReportBytes], Report& report) {
  fflush(stdout);
  const int saved = ::dup(STDOUT_FILENO);
  const int file = ::creat("/tmp/log/stdout", 0600);
  ::dup2(file, STDOUT_FILENO);
  ::close(file);
  try {
    arm();
    store(result, scenario.run());
  } catch (const std::bad_alloc&) {
    report.exhausted = true;
  }
  faults::disarm();
  std::cout.flush();
  fflush(stdout);
  ::dup2(saved, STDOUT_FILENO);
  ::close(saved);
}

void runOnce(const Scenario& scenario, const std::function<void()>& arm, Report& report) {
  alarm(kWatchdogSeconds);
  std::set_terminate(abort);  // without its words
  makeWorkspace();
  const size_t before = openDescriptors().size();
  perform(scenario, arm, report.result, report);
  report.printed = !readFile("/tmp/log/stdout").empty();
  report.injected = faults::injected();
  report.descriptors = static_cast<int>(openDescriptors().size() - before);
  report.children = hasChildren();
  store(report.files, strayFiles());

  const bool exhausted = report.exhausted;
  makeWorkspace();
  perform(scenario, [] {}, report.again, report);
  report.exhausted = exhausted;
  report.complete = true;
}

class Sweep {
 public:
  Sweep(const Scenario& scenario, bool verbose)
      : m_scenario(scenario), m_verbose(verbose), m_report(makeShared<Report>()) {}

  void run() {
    perform(faults::count);
    if (!m_report->complete || m_report->exhausted) {
      complain("the scenario itself fails");
      return;
    }
    m_usual = *m_report;
    if (strcmp(m_usual.result, m_usual.again) != 0)
      complain(std::string("gives another result the second time: ") + m_usual.again);
    std::vector<int> calls;
    for (size_t fault = 0; fault < faults::kFaults.size(); ++fault)
      calls.push_back(faults::calls(fault));
    for (size_t fault = 0; fault < calls.size(); ++fault) {
      for (int call = 1; call <= calls[fault]; ++call) {
        for (const Mode mode : {Mode::kOnce, Mode::kFromThenOn}) inject(fault, call, mode);
      }
    }
    requireSeen();
    ++totals->scenarios;
  }

 private:
  // Runs the scenario in a child.
  void perform(const std::function<void()>& arm) {
    *m_report = Report{};
    fflush(stdout);
    m_status = inChild([&] {
      runOnce(m_scenario, arm, *m_report);
      return 0;
    });
  }

  void inject(size_t fault, int call, Mode mode) {
    const faults::Fault& what = faults::kFaults[fault];
    m_what = format("%s #%d (%s) %s", C(what.function), call, strerror(what.error),
                    mode == Mode::kOnce ? "once" : "from then on");
    perform([&] { faults::arm(fault, call, mode); });
    ++totals->runs;
    totals->faults += m_report->injected;
    if (m_report->injected > 0) totals->met[fault] = true;
    if (m_verbose)
      printf("%s: %s: %s%s\n", m_scenario.name, C(m_what), m_report->result,
             m_report->exhausted ? "(no memory)" : "");
    judge(what.function == "operator_new");
  }

  void judge(bool withoutMemory) {
    if (!m_report->complete) {
      judgeEnd(withoutMemory);
      return;
    }
    if (strcmp(m_report->again, m_usual.result) != 0)
      complain(std::string("the next call gives ") + m_report->again);
    if (m_report->children) complain("a child is left");
    if (m_report->exhausted && !withoutMemory) complain("throws");
    if (m_report->descriptors > m_usual.descriptors && !uses(kMayLeaveDescriptors))
      complain(format("%d descriptors are left", m_report->descriptors));
    if (*m_report->files != '\0' && !uses(kMayLeaveFiles))
      complain(std::string("files are left: ") + m_report->files);
    if (m_report->printed && !m_usual.printed && !uses(kMayPrint))
      complain("prints what it usually does not");
    if (!m_report->exhausted) judgeResult(withoutMemory);
  }

  // The child has not come to its end: it was killed, or hung.
  void judgeEnd(bool withoutMemory) {
    const bool aborted = WIFSIGNALED(m_status) && WTERMSIG(m_status) == SIGABRT;
    if (withoutMemory && aborted && uses(kMayEndWithoutMemory)) return;
    complain(WIFSIGNALED(m_status) ? format("killed by %s", strsignal(WTERMSIG(m_status)))
                                   : format("exit code %d", exitCode(m_status)));
  }

  void judgeResult(bool withoutMemory) {
    const std::string result = m_report->result;
    if (result == m_usual.result) return;
    m_seen.insert(result);
    const std::set<std::string>& permitted = m_scenario.permitted;
    if (permitted.count(result) != 0 || permitted.count(kAtTimes + result) != 0) return;
    // Texts may be cut where there is no memory for them.
    if (!withoutMemory) complain("gives " + result);
  }

  // Whether the scenario may do this; it is noted that it does.
  bool uses(May permission) {
    if ((m_scenario.may & permission) == 0) return false;
    m_used |= permission;
    return true;
  }

  // What is permitted and never occurs hides what it would be wrong for.
  void requireSeen() {
    m_what = "any fault";
    for (const std::string& result : m_scenario.permitted) {
      if (result.front() != kAtTimes && m_seen.count(result) == 0)
        complain("permitted, and never seen: " + result);
    }
    if (m_used != m_scenario.may)
      complain(format("may do %u, and does %u", m_scenario.may, m_used));
  }

  void complain(const std::string& text) {
    ++totals->fellShort;
    printf("SHORT %s: %s: %s\n", m_scenario.name, C(m_what), C(text));
  }

  const Scenario& m_scenario;
  bool m_verbose;
  Report* m_report;
  Report m_usual = {};
  int m_status = 0;
  std::string m_what = "no fault";
  std::set<std::string> m_seen;  // results besides the usual one
  unsigned m_used = 0;           // permissions that were needed
};

std::vector<const Scenario*>& registered() {
  static std::vector<const Scenario*> all;
  return all;
}

}  // namespace

Scenario::Scenario(const char* scenarioName, std::function<std::string()> body,
                   std::set<std::string> results, unsigned permissions)
    : name(scenarioName), run(std::move(body)), permitted(std::move(results)), may(permissions) {
  registered().push_back(this);
}

const std::vector<const Scenario*>& scenarios() { return registered(); }

void startTotals() { totals = makeShared<Totals>(); }

void sweep(const Scenario& scenario, bool verbose) { Sweep(scenario, verbose).run(); }

bool showTotals(bool all) {
  for (size_t fault = 0; fault < faults::kFaults.size() && all; ++fault) {
    if (totals->met[fault]) continue;
    ++totals->fellShort;
    printf("SHORT %s is called in no scenario\n", C(faults::kFaults[fault].function));
  }
  printf("%d scenarios, %d runs, %d faults injected, %d fell short\n", totals->scenarios.load(),
         totals->runs.load(), totals->faults.load(), totals->fellShort.load());
  return totals->fellShort == 0 && totals->runs > 0;
}
