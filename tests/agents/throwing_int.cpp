// An agent whose status query throws the int of the environment's AGENT_THROWS.

#include <cstdlib>

#include "vekcom.h"

int VEK_StartComm(int, int*) { return 0; }
int VEK_StopComm(void) { return 0; }
int VEK_GetStatus(int, int*) { throw std::atoi(std::getenv("AGENT_THROWS")); }
int VEK_GetID(int*) { return 0; }
int VEK_Communicate(unsigned long, int, int, void*, void*) { return 0; }
