# The Debian package: `cpack -G DEB` in the build folder, with the install rules
# as they are and, from prepare_deb.cmake, what only a package needs. The variable
# changelog_date comes from Install.cmake.

# Whoever publishes the package sets this, or writes it into the file `contact`
# beside this one; the address here is nobody's.
set(contact "qarn-rpc-gen maintainers <maintainers@qarn-rpc-gen.example>")
if(EXISTS "${CMAKE_CURRENT_LIST_DIR}/contact")
  file(STRINGS "${CMAKE_CURRENT_LIST_DIR}/contact" contact LIMIT_COUNT 1)
endif()
set(QARN_RPC_PACKAGE_CONTACT "${contact}" CACHE STRING
  "Name and mail address of whoever publishes the package")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME qarn-rpc-gen)
set(CPACK_PACKAGE_CONTACT "${QARN_RPC_PACKAGE_CONTACT}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
  "protoc plugin that generates asynchronous C++ RPC classes")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"For each service in a .proto file this plugin of the protocol buffer compiler
writes a client class, a server class and compile-time traits of the methods,
in C++. A linter finds in .proto files what a C++ compiler would refuse later.
.
The package also holds the schema of the method options, a CMake package with a
function that generates code as a part of a build, and a pkg-config file. The
RPC runtime that the generated code includes is not part of it.")
# Any architecture's build may run this tool. CPack has a variable for the field
# since 3.31 only, so it follows the section on a line of its own.
string(APPEND CPACK_DEBIAN_PACKAGE_SECTION "\nMulti-Arch: foreign")

# Whoever runs the plugin runs protoc, and the schema imports a file of
# libprotobuf-dev. The libraries that the executable loads come on top.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "protobuf-compiler, libprotobuf-dev")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "cmake, libboost-dev, pkg-config")
if(QARN_RPC_STATIC)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS OFF)
else()
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
endif()

set(deb_dir "${PROJECT_BINARY_DIR}/package/deb")
configure_file("${CMAKE_CURRENT_LIST_DIR}/changelog.in" "${deb_dir}/changelog" @ONLY)
configure_file("${CMAKE_CURRENT_LIST_DIR}/copyright.in" "${deb_dir}/copyright" @ONLY)
if(QARN_RPC_STATIC)
  configure_file("${CMAKE_CURRENT_LIST_DIR}/lintian-overrides-static"
    "${deb_dir}/overrides/qarn-rpc-gen" COPYONLY)
else()
  file(REMOVE "${deb_dir}/overrides/qarn-rpc-gen")
endif()
configure_file("${CMAKE_CURRENT_LIST_DIR}/prepare_deb.cmake.in"
  "${deb_dir}/prepare_deb.cmake" @ONLY)
set(CPACK_PRE_BUILD_SCRIPTS "${deb_dir}/prepare_deb.cmake")

include(CPack)
