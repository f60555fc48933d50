# Runs for each format, before a package is made from the staged files.

# The log directory is not in the packages: their scripts make it (see there).
file(REMOVE_RECURSE ${CPACK_TEMPORARY_DIRECTORY}/moxel/var)
if(CPACK_GENERATOR STREQUAL "RPM")
  file(REMOVE_RECURSE ${CPACK_TEMPORARY_DIRECTORY}/moxel/usr/share/lintian)
endif()

# Directories are open to all, whatever the builder's mask.
execute_process(COMMAND find ${CPACK_TEMPORARY_DIRECTORY} -type d -exec chmod 755 {} +
                        COMMAND_ERROR_IS_FATAL ANY)

# Two builds of one commit make the same packages.
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(
    COMMAND find ${CPACK_TEMPORARY_DIRECTORY} -exec touch -h -d @$ENV{SOURCE_DATE_EPOCH} {} +
            COMMAND_ERROR_IS_FATAL ANY)
endif()
