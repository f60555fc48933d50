# The CMake package of the moxel library: target moxel::moxel. A program that uses the gateway client
# also links the agent's library.
include("${CMAKE_CURRENT_LIST_DIR}/moxelTargets.cmake")
