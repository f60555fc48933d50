// An agent whose status query throws: the int that AGENT_THROWS names, or something that is no int.

#include <cstdlib>
#include <stdexcept>

#include "vekcom.h"

int VEK_StartComm(int, int*) { return 0; }
int VEK_StopComm(void) { return 0; }
int VEK_GetStatus(int, int*) {
  const char* number = std::getenv("AGENT_THROWS");
  if (number != nullptr) throw std::atoi(number);
  throw std::runtime_error("agent");
}
int VEK_GetID(int*) { return 0; }
int VEK_Communicate(unsigned long, int, int, void*, void*) { return 0; }
