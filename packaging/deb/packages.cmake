# The components as Debian packages: `cpack` in the build folder, or `./dev package`. Binaries are stripped.
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL libovrafocus libovrafocus-dev)
if(TARGET virtual-projector)
  list(APPEND CPACK_COMPONENTS_ALL virtual-projector)
endif()

set(CPACK_PACKAGE_NAME ovrafocus)
set(CPACK_PACKAGE_VENDOR "ovrafocus")
set(CPACK_PACKAGE_CONTACT "The maintainers of ovrafocus <maintainers@ovrafocus.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PRE_BUILD_SCRIPTS "${CMAKE_CURRENT_LIST_DIR}/before_packing.cmake")
set(CPACK_POST_BUILD_SCRIPTS "${CMAKE_CURRENT_LIST_DIR}/after_packing.cmake")

# What Debian's packages tell of themselves; nothing that an installation has. The date is that of the version.
set(first_date "Sun, 22 Nov 2026 00:00:00 +0000")
set(first_time 1795305600)
configure_file(deb/packages_config.cmake.in packages_config.cmake @ONLY)
set(CPACK_PROJECT_CONFIG_FILE "${CMAKE_CURRENT_BINARY_DIR}/packages_config.cmake")
set(CPACK_OVRA_DEBIAN "${CMAKE_CURRENT_BINARY_DIR}/debian")
file(READ deb/copyright.txt copyright)
file(READ deb/copyright_parts.txt parts_of_virtual-projector)
foreach(package IN LISTS CPACK_COMPONENTS_ALL)
  set(shared "${CPACK_OVRA_DEBIAN}/${package}/usr/share")
  configure_file(deb/changelog.in "${shared}/doc/${package}/changelog" @ONLY)
  file(CONFIGURE OUTPUT "${shared}/doc/${package}/copyright" CONTENT "@copyright@@parts_of_${package}@" @ONLY)
  if(EXISTS "${CMAKE_CURRENT_LIST_DIR}/lintian/${package}")
    configure_file("deb/lintian/${package}" "${shared}/lintian/overrides/${package}" COPYONLY)
  endif()
endforeach()

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_COMPONENT_LIBOVRAFOCUS-DEV_DEPENDS libovrafocus)
set(CPACK_COMPONENT_VIRTUAL-PROJECTOR_DEPENDS libovrafocus)
set(CPACK_DEBIAN_VIRTUAL-PROJECTOR_PACKAGE_RECOMMENDS libovrafocus-dev)  # how to write a host

foreach(package IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER "${package}" component)
  set(CPACK_DEBIAN_${component}_PACKAGE_NAME "${package}")
  file(READ "${CMAKE_CURRENT_LIST_DIR}/${package}.txt" CPACK_DEBIAN_${component}_DESCRIPTION)
endforeach()
set(CPACK_DEBIAN_LIBOVRAFOCUS_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBOVRAFOCUS-DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_VIRTUAL-PROJECTOR_PACKAGE_SECTION devel)

# What the binaries need of others is looked up in the packages of this computer; those of another processor
# are not there.
foreach(component IN ITEMS LIBOVRAFOCUS VIRTUAL-PROJECTOR)
  if(CMAKE_CROSSCOMPILING)
    set(CPACK_DEBIAN_${component}_PACKAGE_DEPENDS "libc6, libgcc-s1, libstdc++6")
  else()
    set(CPACK_DEBIAN_${component}_PACKAGE_SHLIBDEPS ON)
  endif()
endforeach()
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}")
if(CMAKE_CROSSCOMPILING)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE "${CMAKE_SYSTEM_PROCESSOR}")
endif()

include(CPack)
