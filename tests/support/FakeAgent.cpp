#include "FakeAgent.h"

#include <string>

#include "common.h"
#include "vekcom.h"

FakeAgent fakeAgent;

namespace {

void begin(const std::string& call) {
  fakeAgent.calls.push_back(call);
  if (fakeAgent.before) fakeAgent.before();
}

}  // namespace

int VEK_StartComm(int mode, int* status) {
  begin(format("StartComm %d %d", mode, *status));
  return fakeAgent.result;
}

int VEK_StopComm(void) {
  begin("StopComm");
  return fakeAgent.result;
}

int VEK_GetStatus(int mode, int* status) {
  begin(format("GetStatus %d %d", mode, *status));
  *status = fakeAgent.status;
  return fakeAgent.result;
}

int VEK_GetID(int* id) {
  begin(format("GetID %d", *id));
  if (fakeAgent.writesId) *id = fakeAgent.id;
  return fakeAgent.result;
}

int VEK_Communicate(unsigned long id, int a, int b, void* data, void* detail) {
  int* numbers = static_cast<int*>(detail);
  begin(format("Communicate %lu %d %d %s detail %d %d %d", id, a, b,
               data == nullptr ? "(null)" : static_cast<const char*>(data), numbers[0], numbers[1],
               numbers[2]));
  for (int i = 0; i < 3; ++i) numbers[i] = fakeAgent.detail[i];
  return fakeAgent.result;
}
