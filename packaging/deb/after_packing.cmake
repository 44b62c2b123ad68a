# Packs what cpack has packed once more. It gives a package with a library scripts that call ldconfig, where Debian
# wants a trigger, and folders the permissions that its user gives to his own.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  set(unpacked "${package}.unpacked")
  execute_process(COMMAND dpkg-deb -R "${package}" "${unpacked}" COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE "${unpacked}/DEBIAN/postinst" "${unpacked}/DEBIAN/postrm")
  file(GLOB libraries "${unpacked}/usr/lib/*.so" "${unpacked}/usr/lib/*/libovrafocus.so")
  if(libraries)
    file(WRITE "${unpacked}/DEBIAN/triggers" "activate-noawait ldconfig\n")
    file(CHMOD "${unpacked}/DEBIAN/triggers" PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  endif()
  execute_process(COMMAND find "${unpacked}" -type d -exec chmod 755 {} + COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND dpkg-deb --root-owner-group -b "${unpacked}" "${package}"
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE_RECURSE "${unpacked}")
endforeach()
