// An agent whose status query throws an int.

#include "vekcom.h"

int VEK_StartComm(int, int*) { return 0; }
int VEK_StopComm(void) { return 0; }
int VEK_GetStatus(int, int*) { throw 42; }
int VEK_GetID(int*) { return 0; }
int VEK_Communicate(unsigned long, int, int, void*, void*) { return 0; }
