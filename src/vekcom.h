#pragma once

/// @file
/// The server agent's communication library, "libvekcom.so.2.0", as this tool set calls it.
///
/// Every function returns 0 for success. None is declared noexcept: an agent may throw through
/// them. `libmoxel.a` leaves these five names undefined; a tool that uses the gateway client links
/// the agent's library, the substitute, or its own definitions.

extern "C" {

/// Starts communication. `mode` is always 0 here; `*status` is set to 0 before the call and not
/// read after it.
int VEK_StartComm(int mode, int* status);

/// Ends communication.
int VEK_StopComm(void);

/// Stores the agent's status word in `*status`. `mode` is always 0 here.
int VEK_GetStatus(int mode, int* status);

/// Stores the machine ID in `*id`, which is 0 before the call.
int VEK_GetID(int* id);

/// Exchanges `data` with the agent under the request `id`. `detail` points to three ints, all 0
/// before the call: transport type, transport error code, and one that is ignored.
int VEK_Communicate(unsigned long id, int a, int b, void* data, void* detail);
}
