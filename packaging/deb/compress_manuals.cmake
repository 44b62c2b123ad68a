# Debian keeps manuals compressed, without a time stamp in them.
file(GLOB_RECURSE manuals "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*.[1-9]")
if(manuals)
  execute_process(COMMAND gzip -9n ${manuals} COMMAND_ERROR_IS_FATAL ANY)
endif()
