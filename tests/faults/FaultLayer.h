#pragma once

#include <string>
#include <vector>

// Makes calls of the C library fail: those of the code that is linked with the layer (the linker
// wraps them), in this process and the children that it forks.
namespace faults {

// How long a fault lasts.
enum class Mode { kOnce, kFromThenOn };

struct Fault {
  std::string function;
  int index;  // of the function, inside of the layer
  int error;  // errno of the fault
};

// The faults that can be made, in a fixed order. A function stands here once for each errno.
extern const std::vector<Fault> kFaults;

// Counts apart from the process that this one was forked from.
void separate();

// From now on counts the calls, and fails none.
void count();

// From now on fails the `call`-th call (from 1) of the function of the fault with this index.
void arm(size_t fault, int call, Mode mode);

// From now on neither counts nor fails.
void disarm();

// Neither counts nor fails while one of these lives.
class Pause {
 public:
  Pause();
  ~Pause();
  Pause(const Pause&) = delete;
  Pause& operator=(const Pause&) = delete;

 private:
  bool m_armed;
};

// Calls of the function of this fault since `count` or `arm`.
int calls(size_t fault);

// How many calls were made to fail since `arm`.
int injected();

// Takes the command that popen was given last.
std::string takeCommand();

// Takes the line that the system logger was given last, which gets none itself.
std::string takeSystemLine();

}  // namespace faults
