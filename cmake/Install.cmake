# Makes the project usable by other builds: the alias and the function for those
# that use its source tree, the install rules for everyone else. No installed
# file holds the path of its prefix, so the prefix may be moved.

include(GNUInstallDirs)

option(QARN_RPC_INSTALL "Add the install rules" ${is_top_level})

# The others are missing where protobuf is older than 3.12.
set(plugins protoc-gen-qarn-rpc)
if(TARGET protoc-gen-qarn-rpc-any)
  list(APPEND plugins protoc-gen-qarn-rpc-any protoc-gen-qarn-rpc-lint)
endif()
foreach(plugin IN LISTS plugins)
  add_executable(qarn-rpc-gen::${plugin} ALIAS ${plugin})
endforeach()
set(QARN_RPC_PROTO_DIR "${PROJECT_SOURCE_DIR}/proto" CACHE INTERNAL
  "The folder under which the options schema is imported")
include("${CMAKE_CURRENT_LIST_DIR}/QarnRpcGenerate.cmake")
include("${CMAKE_CURRENT_LIST_DIR}/QarnRpcCheckRuntime.cmake")

if(NOT QARN_RPC_INSTALL)
  return()
endif()

install(TARGETS ${plugins} EXPORT qarn-rpc-gen-targets
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
# The schema alone: a header made from it here would only fit one release of
# protobuf.
install(FILES "${PROJECT_SOURCE_DIR}/proto/morvane/qarn/rpc/service_options.proto"
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/morvane/qarn/rpc")
include("${CMAKE_CURRENT_LIST_DIR}/ReleaseDate.cmake")
qarn_rpc_release_date(release_date changelog_date)
foreach(plugin IN LISTS plugins)
  configure_file("${PROJECT_SOURCE_DIR}/docs/${plugin}.1.in"
    "${PROJECT_BINARY_DIR}/package/${plugin}.1" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/package/${plugin}.1"
    DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")
endforeach()
# As they lie in the source tree, so that their links to each other hold.
install(DIRECTORY "${PROJECT_SOURCE_DIR}/docs"
  DESTINATION "${CMAKE_INSTALL_DOCDIR}"
  FILES_MATCHING PATTERN "*.md" PATTERN "*.svg")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/examples"
  DESTINATION "${CMAKE_INSTALL_DOCDIR}"
  PATTERN "*.sh" PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
    GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
install(FILES
  "${PROJECT_SOURCE_DIR}/README.md"
  "${PROJECT_SOURCE_DIR}/CHANGELOG.md"
  "${PROJECT_SOURCE_DIR}/CONTRIBUTING.md"
  DESTINATION "${CMAKE_INSTALL_DOCDIR}")
# Their links to what is not installed with them become plain text:
# "[`tests/x.cc`](../tests/x.cc)" -> "`tests/x.cc`".
install(CODE "
  set(source [==[${PROJECT_SOURCE_DIR}]==])
  set(docs [==[${CMAKE_INSTALL_DOCDIR}]==])")
install(CODE [==[
  if(NOT IS_ABSOLUTE "${docs}")
    string(PREPEND docs "${CMAKE_INSTALL_PREFIX}/")
  endif()
  file(GLOB pages RELATIVE "${source}" "${source}/docs/*.md"
    "${source}/docs/using/*.md" "${source}/examples/*/*.md")
  foreach(page README.md CHANGELOG.md CONTRIBUTING.md ${pages})
    file(READ "$ENV{DESTDIR}${docs}/${page}" text)
    string(REGEX REPLACE
      "\\[([^]\n]+)\\]\\((\\.\\./)*(bazel|bench|packaging|proto|scripts|tests)/[^)]+\\)" "\\1" text "${text}")
    file(WRITE "$ENV{DESTDIR}${docs}/${page}" "${text}")
  endforeach()
]==])
# The script finds its folder beside itself.
install(PROGRAMS "${PROJECT_SOURCE_DIR}/scripts/check_runtime.sh"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/qarn-rpc-gen")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/scripts/check_runtime"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/qarn-rpc-gen")

# The CMake package.
include(CMakePackageConfigHelpers)
set(package_dir "${CMAKE_INSTALL_DATADIR}/cmake/qarn-rpc-gen")
set(made_dir "${PROJECT_BINARY_DIR}/package")
configure_package_config_file(
  "${CMAKE_CURRENT_LIST_DIR}/qarn-rpc-gen-config.cmake.in"
  "${made_dir}/qarn-rpc-gen-config.cmake"
  INSTALL_DESTINATION "${package_dir}"
  PATH_VARS CMAKE_INSTALL_INCLUDEDIR
  NO_CHECK_REQUIRED_COMPONENTS_MACRO)
# A tool serves any architecture. Before 1.0 a minor version may break callers.
write_basic_package_version_file("${made_dir}/qarn-rpc-gen-config-version.cmake"
  COMPATIBILITY SameMinorVersion ARCH_INDEPENDENT)
install(EXPORT qarn-rpc-gen-targets NAMESPACE qarn-rpc-gen:: DESTINATION "${package_dir}")
install(FILES
  "${made_dir}/qarn-rpc-gen-config.cmake"
  "${made_dir}/qarn-rpc-gen-config-version.cmake"
  "${CMAKE_CURRENT_LIST_DIR}/QarnRpcCheck.cmake"
  "${CMAKE_CURRENT_LIST_DIR}/QarnRpcCheckRuntime.cmake"
  "${CMAKE_CURRENT_LIST_DIR}/QarnRpcCompile.cmake"
  "${CMAKE_CURRENT_LIST_DIR}/QarnRpcGenerate.cmake"
  "${CMAKE_CURRENT_LIST_DIR}/QarnRpcIncludes.cmake"
  "${CMAKE_CURRENT_LIST_DIR}/QarnRpcJoin.cmake"
  "${CMAKE_CURRENT_LIST_DIR}/QarnRpcRun.cmake"
  "${CMAKE_CURRENT_LIST_DIR}/QarnRpcTools.cmake"
  DESTINATION "${package_dir}")

# The pkg-config file. A folder that was configured as an absolute one stays so.
set(pkgconfig_dir "${CMAKE_INSTALL_DATADIR}/pkgconfig")
file(RELATIVE_PATH prefix_from_pkgconfig
  "${CMAKE_INSTALL_FULL_DATADIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
string(REGEX REPLACE "/$" "" prefix_from_pkgconfig "${prefix_from_pkgconfig}")
foreach(kind bindir includedir)
  string(TOUPPER "CMAKE_INSTALL_${kind}" dir)
  set(pc_${kind} "${${dir}}")
  if(NOT IS_ABSOLUTE "${pc_${kind}}")
    string(PREPEND pc_${kind} "\${prefix}/")
  endif()
endforeach()
# Where there is no other, the plain one takes all that this protobuf has.
set(pc_plugin_any protoc-gen-qarn-rpc)
set(pc_plugin_lint "")
if(TARGET protoc-gen-qarn-rpc-any)
  set(pc_plugin_any protoc-gen-qarn-rpc-any)
  set(pc_plugin_lint "plugin_lint=\${bindir}/protoc-gen-qarn-rpc-lint${CMAKE_EXECUTABLE_SUFFIX}")
endif()
configure_file("${CMAKE_CURRENT_LIST_DIR}/qarn-rpc-gen.pc.in"
  "${made_dir}/qarn-rpc-gen.pc" @ONLY)
install(FILES "${made_dir}/qarn-rpc-gen.pc" DESTINATION "${pkgconfig_dir}")

if(is_top_level)
  include("${PROJECT_SOURCE_DIR}/packaging/Packaging.cmake")
endif()
