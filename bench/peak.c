/* usage: peak FILE PROGRAM

   Runs the program and adds a line with the peak of its own memory, in KB, to the file: the most that
   its mappings hold at any of its system calls. (The kernel's own peak is counted for each processor
   apart and can be wrong by more than 100 KB.) FILE.maps becomes what is known of its mappings at the
   end. Its children are left alone. */

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

static FILE* openOf(pid_t process, const char* file) {
  char path[64];
  snprintf(path, sizeof path, "/proc/%d/%s", (int)process, file);
  return fopen(path, "r");
}

/* KB that the mappings hold; 0 when the process is gone. */
static int resident(pid_t process) {
  char line[256];
  int kilobytes = 0;
  FILE* sum = openOf(process, "smaps_rollup");
  if (sum == NULL) return 0;
  while (fgets(line, sizeof line, sum) != NULL) {
    if (sscanf(line, "Rss: %d", &kilobytes) == 1) break;
  }
  fclose(sum);
  return kilobytes;
}

static void copyMappings(pid_t process, const char* to) {
  char line[4096];
  FILE* mappings = openOf(process, "smaps");
  FILE* copy = fopen(to, "w");
  if (mappings == NULL || copy == NULL) exit(1);
  while (fgets(line, sizeof line, mappings) != NULL) fputs(line, copy);
  fclose(copy);
  fclose(mappings);
}

int main(int argc, char** argv) {
  char maps[4096];
  int peak = 0;
  int status;
  int signal = 0;
  FILE* peaks;
  if (argc != 3) return 2;
  snprintf(maps, sizeof maps, "%s.maps", argv[1]);
  const pid_t process = fork();
  if (process == 0) {
    ptrace(PTRACE_TRACEME, 0, NULL, NULL);
    execl(argv[2], argv[2], (char*)NULL);
    _exit(127);
  }
  if (waitpid(process, &status, 0) != process || !WIFSTOPPED(status)) return 1;
  ptrace(PTRACE_SETOPTIONS, process, NULL, PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACEEXIT);
  while (ptrace(PTRACE_SYSCALL, process, NULL, signal) == 0 &&
         waitpid(process, &status, 0) == process && WIFSTOPPED(status)) {
    const int held = resident(process);
    if (held > peak) peak = held;
    if (status >> 8 == (SIGTRAP | PTRACE_EVENT_EXIT << 8)) copyMappings(process, maps);
    signal = WSTOPSIG(status);
    if (signal == SIGTRAP || signal == (SIGTRAP | 0x80)) signal = 0;
  }
  peaks = fopen(argv[1], "a");
  if (peaks == NULL || fprintf(peaks, "%d\n", peak) < 0 || fclose(peaks) != 0) return 1;
  return 0;
}
