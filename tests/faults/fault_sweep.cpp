// usage: fault_sweep [-v] [SCENARIO...]     -v shows every outcome

#include <sys/resource.h>
#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "FaultLayer.h"
#include "Process.h"
#include "Scratch.h"
#include "Shared.h"
#include "Sweep.h"

namespace {

// A machine of the sweep's own: nothing of it is seen outside.
bool enterWorkshop() {
  if (!enterPrivateNamespace() || !mountEmpty("/tmp") || !mountEmpty("/opt")) return false;
  std::filesystem::create_directories("/opt/kardo/moxel/bin");
  writeFile("/opt/kardo/moxel/bin/scsend.sh", "#!/bin/sh\necho sent\n", 0755);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  // The log's path is read before main.
  if (getenv("MOXEL_LOG") == nullptr) {
    setenv("MOXEL_LOG", "/tmp/log/moxel.log", 1);
    setenv("MOXEL_LOG_LEVEL", "LOG_LEVEL_TRACE", 1);
    setenv("LC_ALL", "C", 1);
    execv("/proc/self/exe", argv);
    return 1;
  }
  bool verbose = false;
  std::set<std::string> wanted;
  for (int i = 1; i < argc; ++i) {
    if (strcmp(argv[i], "-v") == 0) {
      verbose = true;
    } else {
      wanted.insert(argv[i]);
    }
  }
  const rlimit none = {0, 0};
  setrlimit(RLIMIT_CORE, &none);
  setvbuf(stdout, nullptr, _IOLBF, 0);

  startTotals();
  auto* const next = makeShared<std::atomic<size_t>>();
  std::vector<pid_t> workers;
  for (int i = 0; i < 2; ++i) {
    workers.push_back(startChild([&] {
      if (!enterWorkshop()) return 1;
      faults::separate();
      for (size_t at; (at = (*next)++) < scenarios().size();) {
        const Scenario& scenario = *scenarios()[at];
        if (wanted.empty() || wanted.count(scenario.name) != 0) sweep(scenario, verbose);
      }
      return 0;
    }));
  }
  bool worked = true;
  for (const pid_t worker : workers) worked = exitCode(waitFor(worker)) == 0 && worked;
  if (!worked) {
    fprintf(stderr, "fault_sweep: this machine does not permit the private mounts that it needs\n");
    return 1;
  }
  return showTotals(wanted.empty()) ? 0 : 1;
}
