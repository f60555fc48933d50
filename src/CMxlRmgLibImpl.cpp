#include "CMxlRmgLibImpl.h"

#include <charconv>

#include "vekcom.h"

namespace {
constexpr int kMachineIdBytes = 4096;
}

int CMxlRmgLibImpl::RMG_GetStatus(int& status) { return VEK_GetStatus(0, &status); }

int CMxlRmgLibImpl::RMG_GetID(char* dst) {
  int id = 0;
  const int result = VEK_GetID(&id);
  if (dst != nullptr) *std::to_chars(dst, dst + kMachineIdBytes, id).ptr = '\0';
  return result;
}

int CMxlRmgLibImpl::RM_StartComm(int& status) { return VEK_StartComm(0, &status); }

int CMxlRmgLibImpl::RM_StopComm() { return VEK_StopComm(); }

int CMxlRmgLibImpl::RM_Communicate(unsigned long id, int a, int b, void* data, void* detail) {
  return VEK_Communicate(id, a, b, data, detail);
}
