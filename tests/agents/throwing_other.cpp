// An agent whose status query throws something that is no int.

#include <stdexcept>

#include "vekcom.h"

int VEK_StartComm(int, int*) { return 0; }
int VEK_StopComm(void) { return 0; }
int VEK_GetStatus(int, int*) { throw std::runtime_error("agent"); }
int VEK_GetID(int*) { return 0; }
int VEK_Communicate(unsigned long, int, int, void*, void*) { return 0; }
