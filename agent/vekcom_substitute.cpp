// Stands in for the server agent's communication library where no agent is installed. Never install
// it beside a real agent.
//
// Its answers come from environment variables, read at each call; numbers in the forms of strtol
// with base 0 (32, 0x20):
//
//   VEKCOM_STATUS   status word of VEK_GetStatus; 32, in operation, when not set
//   VEKCOM_RESULT   result of every function; 0 when not set
//   VEKCOM_ID       machine ID of VEK_GetID; 1 when not set
//   VEKCOM_DETAIL   error detail of VEK_Communicate, up to three numbers with commas between;
//                   nothing is stored when not set
//   VEKCOM_LOG      file to which every call appends one line with its name and plain arguments,
//                   as in "VEK_Communicate 7 0 12"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "vekcom.h"

namespace {

int number(const char* variable, int defaultNumber) {
  const char* value = std::getenv(variable);
  return value == nullptr ? defaultNumber : static_cast<int>(std::strtol(value, nullptr, 0));
}

__attribute__((format(printf, 1, 2))) void logCall(const char* fmt, ...) {
  const char* path = std::getenv("VEKCOM_LOG");
  if (path == nullptr) return;
  FILE* log = std::fopen(path, "a");
  if (log == nullptr) return;
  va_list args;
  va_start(args, fmt);
  std::vfprintf(log, fmt, args);
  va_end(args);
  std::fputc('\n', log);
  std::fclose(log);
}

int result() { return number("VEKCOM_RESULT", 0); }

}  // namespace

int VEK_StartComm(int mode, int* status) {
  logCall("VEK_StartComm %d", mode);
  *status = 0;
  return result();
}

int VEK_StopComm(void) {
  logCall("VEK_StopComm");
  return result();
}

int VEK_GetStatus(int mode, int* status) {
  logCall("VEK_GetStatus %d", mode);
  *status = number("VEKCOM_STATUS", 32);
  return result();
}

int VEK_GetID(int* id) {
  logCall("VEK_GetID");
  *id = number("VEKCOM_ID", 1);
  return result();
}

int VEK_Communicate(unsigned long id, int a, int b, void* /*data*/, void* detail) {
  logCall("VEK_Communicate %lu %d %d", id, a, b);
  const char* value = std::getenv("VEKCOM_DETAIL");
  for (int i = 0; value != nullptr && i < 3; ++i) {
    char* end = nullptr;
    static_cast<int*>(detail)[i] = static_cast<int>(std::strtol(value, &end, 0));
    value = *end == ',' ? end + 1 : nullptr;
  }
  return result();
}
