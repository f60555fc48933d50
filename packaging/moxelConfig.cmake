# The CMake package of the moxel library: target moxel::moxel. Programs that use the gateway client
# also link the agent's library.
include("${CMAKE_CURRENT_LIST_DIR}/moxelTargets.cmake")
