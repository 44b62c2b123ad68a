# What only packages have is put to what was installed. Debian keeps manuals and changelogs compressed, without a time
# stamp in them.
file(GLOB packages RELATIVE "${CPACK_OVRA_DEBIAN}" "${CPACK_OVRA_DEBIAN}/*")
foreach(package IN LISTS packages)
  set(root "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${package}")
  file(COPY "${CPACK_OVRA_DEBIAN}/${package}/" DESTINATION "${root}")
  file(GLOB compressed "${root}/usr/share/man/man*/*" "${root}/usr/share/doc/${package}/changelog")
  execute_process(COMMAND gzip -9n ${compressed} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
