#pragma once

#include "ICMxlRmg.h"
#include "MLog.h"

/// The raw calls into the agent's library (vekcom.h), without state. Each returns the agent's
/// result, 0 for success, and passes on whatever the agent throws.
class CMxlRmgLibImpl : public MLog, private ICMxlRmg {
 protected:
  /// Stores the agent's status word in `status`.
  virtual int RMG_GetStatus(int& status);

  /// Writes the machine ID to `dst` as decimal text, 0 if the agent stores none, even if the call
  /// fails. `dst` must hold 4096 bytes; null is allowed and receives nothing.
  virtual int RMG_GetID(char* dst);

  /// Starts communication; `status` is set to 0 by the caller.
  int RM_StartComm(int& status);

  /// Ends communication.
  int RM_StopComm();

  /// Exchanges `data`. `detail` points to three ints, set to 0 by the caller.
  int RM_Communicate(unsigned long id, int a, int b, void* data, void* detail);
};
