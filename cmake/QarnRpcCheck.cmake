# What qarn_rpc_generate() refuses, with what to do instead: calls that could
# only fail later, and less clearly. And the paths that it makes of its
# arguments.

include_guard(GLOBAL)
cmake_policy(VERSION 3.20...3.31)

# `unknown` and `without_value` are what the parser of the arguments found;
# `ARGN` names the known ones.
function(_qarn_rpc_check_keywords unknown without_value)
  if(unknown)
    list(JOIN unknown " " unknown)
    list(JOIN ARGN ", " known)
    _qarn_rpc_fail("unknown argument: ${unknown}. Known are ${known}.")
  endif()
  if(without_value)
    list(JOIN without_value ", " names)
    _qarn_rpc_fail("no value after ${names}. Give one, or leave the keyword out.")
  endif()
endfunction()

# Generator expressions have no value yet where `value`, that of `keyword`, is read.
function(_qarn_rpc_check_no_genex keyword value)
  if(value MATCHES "\\$<[^;]*")
    _qarn_rpc_fail("${keyword} holds the generator expression '${CMAKE_MATCH_0}', \
but its value is needed when CMake configures. \
Only DEPENDENCIES and PROTOC_OPTIONS take generator expressions.")
  endif()
endfunction()

# Arguments that need or exclude each other.
function(_qarn_rpc_check_combination
         target out_var protos messages_only_protos no_messages precompile)
  if(target AND out_var)
    _qarn_rpc_fail("both TARGET and OUT_VAR are given. \
TARGET compiles the generated files, OUT_VAR only names them; choose one.")
  endif()
  if(NOT target AND NOT out_var)
    _qarn_rpc_fail("neither TARGET nor OUT_VAR is given. \
Name the target that is to compile the generated files, or a variable for their names.")
  endif()
  if(NOT protos AND NOT messages_only_protos)
    _qarn_rpc_fail("PROTOS is missing. Name the .proto files after it, \
or add them to the sources of TARGET.")
  endif()
  if(no_messages AND messages_only_protos)
    _qarn_rpc_fail("NO_MESSAGES and MESSAGES_ONLY_PROTOS contradict each other. \
Leave one out, or make two calls.")
  endif()
  if(precompile AND NOT target)
    _qarn_rpc_fail("PRECOMPILE needs TARGET: a precompiled header is made \
with the options of the target that compiles the files. \
Give TARGET in place of OUT_VAR, or leave PRECOMPILE out.")
  endif()
endfunction()

# `target` is one that compiles.
function(_qarn_rpc_check_target target)
  if(NOT TARGET "${target}")
    _qarn_rpc_fail("TARGET '${target}' is not a target. \
Call add_executable() or add_library() ahead of this call.")
  endif()
  get_target_property(aliased "${target}" ALIASED_TARGET)
  get_target_property(is_imported "${target}" IMPORTED)
  get_target_property(type "${target}" TYPE)
  if(aliased OR is_imported OR type MATCHES "INTERFACE|UTILITY")
    _qarn_rpc_fail("TARGET '${target}' compiles nothing \
(it is an alias, imported, an interface library or a custom target). \
Name the executable or library that is to compile the generated files.")
  endif()
endfunction()

# Arguments for what the target links and hands on.
function(_qarn_rpc_check_target_arguments target is_public is_private is_system runtime_target)
  if(NOT target)
    _qarn_rpc_fail("PUBLIC, PRIVATE and RUNTIME_TARGET need TARGET: \
with OUT_VAR you link the libraries yourself.")
  endif()
  if(is_private AND (is_public OR is_system))
    _qarn_rpc_fail("PRIVATE contradicts PUBLIC and SYSTEM: \
with it, those that link the target do not see the generated headers. Leave one out.")
  endif()
  if(runtime_target AND NOT TARGET "${runtime_target}")
    _qarn_rpc_fail("RUNTIME_TARGET '${runtime_target}' is not a target. \
Make or find the library of your runtime ahead of this call.")
  endif()
endfunction()

function(_qarn_rpc_check_options_target options_target)
  if(options_target STREQUAL "NONE")
    return()
  endif()
  if(NOT TARGET "${options_target}")
    _qarn_rpc_fail("OPTIONS_TARGET '${options_target}' is not a target. \
Make the library ahead of this call.")
  endif()
  get_target_property(type "${options_target}" TYPE)
  if(type STREQUAL "OBJECT_LIBRARY")
    _qarn_rpc_fail("OPTIONS_TARGET '${options_target}' is an object library. \
Its objects reach only what links it directly: \
a program behind another object library would not link. \
Make it a static or a shared library.")
  endif()
endfunction()

# One call writes the code of a file to a folder: with two, protoc would write the
# same files twice, at once or with other options. `kinds` are those of
# _qarn_rpc_add_runs(), `names` the import names, and `user` what the call is for.
function(_qarn_rpc_check_written_once kinds names out_dir user)
  foreach(kind IN LISTS kinds)
    # For each call its user, and then the names.
    get_property(written GLOBAL PROPERTY "_qarn_rpc_written ${kind} ${out_dir}")
    if(written)
      foreach(name IN LISTS names)
        if(name IN_LIST written)
          _qarn_rpc_fail_written_twice("${name}" "${out_dir}" "${written}")
        endif()
      endforeach()
    endif()
    set_property(GLOBAL APPEND PROPERTY "_qarn_rpc_written ${kind} ${out_dir}" "${user}" ${names})
  endforeach()
endfunction()

# `written` is what calls write to `out_dir`, as above.
function(_qarn_rpc_fail_written_twice name out_dir written)
  foreach(item IN LISTS written)
    if(item MATCHES "^(TARGET|OUT_VAR) ")
      set(other "${item}")
    elseif(item STREQUAL name)
      break()
    endif()
  endforeach()
  _qarn_rpc_fail("code of '${name}' is written to '${out_dir}' already, \
by the call with ${other}. \
Link a library that has it, or give this call a PROTOC_OUT_DIR of its own.")
endfunction()

# Without an options library none of `protos` may import the schema. A file that
# the build has yet to write is left to the compiler, which misses a header.
function(_qarn_rpc_check_no_schema protos)
  foreach(proto IN LISTS protos)
    if(EXISTS "${proto}")
      file(STRINGS "${proto}" imports
        REGEX "^[^/]*import[^/\"']*[\"']morvane/qarn/rpc/service_options\\.proto[\"']")
      if(imports)
        _qarn_rpc_fail("'${proto}' imports the options schema, but OPTIONS_TARGET is NONE. \
Leave the argument out, or name the library that has the schema's message code.")
      endif()
    endif()
  endforeach()
  # An import may be added later.
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${protos})
endfunction()

function(_qarn_rpc_check_namespace namespace)
  set(identifier "[A-Za-z_][A-Za-z0-9_]*")
  if(NOT namespace MATCHES "^${identifier}(::${identifier})*$")
    _qarn_rpc_fail("SERVICES_NAMESPACE '${namespace}' \
is not the name of a C++ namespace. Write it like api or team::api.")
  endif()
endfunction()

function(_qarn_rpc_check_export_macro macro no_messages)
  if(no_messages)
    _qarn_rpc_fail("NO_MESSAGES and EXPORT_MACRO contradict each other: \
the macro exports messages. Give it to the call that has them.")
  endif()
  if(NOT macro MATCHES "^[A-Za-z_][A-Za-z0-9_]*$")
    _qarn_rpc_fail("EXPORT_MACRO '${macro}' is not the name of a macro. Write it like SHOP_EXPORT.")
  endif()
endfunction()

function(_qarn_rpc_refuse_out_dir out_dir)
  _qarn_rpc_fail("the generated files would go to '${out_dir}', \
and CMake has no rules for files with '#', '<' or '>' in their path. \
Choose another build folder or PROTOC_OUT_DIR.")
endfunction()

# A system folder that holds other headers too would hide the warnings of those.
function(_qarn_rpc_check_system target out_dir)
  if(NOT target)
    _qarn_rpc_fail("SYSTEM needs TARGET: it is for those that link the target. \
With OUT_VAR, give your own target PROTOC_OUT_DIR as a SYSTEM include folder.")
  endif()
  cmake_path(IS_PREFIX out_dir "${CMAKE_CURRENT_BINARY_DIR}" NORMALIZE is_shared)
  cmake_path(IS_PREFIX out_dir "${CMAKE_CURRENT_SOURCE_DIR}" NORMALIZE holds_sources)
  if(is_shared OR holds_sources)
    _qarn_rpc_fail("SYSTEM needs a folder with generated files alone, \
but they would go to '${out_dir}'. Give PROTOC_OUT_DIR, such as generated.")
  endif()
endfunction()

function(_qarn_rpc_check_no_file_twice protos messages_only_protos)
  foreach(proto IN LISTS messages_only_protos)
    if(proto IN_LIST protos)
      _qarn_rpc_fail("'${proto}' stands in PROTOS and in MESSAGES_ONLY_PROTOS. \
Leave it in the list that it belongs to.")
    endif()
  endforeach()
endfunction()

# The absolute, normal form of `path`, without a slash at its end.
function(_qarn_rpc_absolute path base result)
  cmake_path(ABSOLUTE_PATH path BASE_DIRECTORY "${base}" NORMALIZE)
  string(REGEX REPLACE "(.)/$" "\\1" path "${path}")
  set(${result} "${path}" PARENT_SCOPE)
endfunction()

# The import folders of a call that names none: the source folder, and first the
# build folder, which may be inside it, if one of `protos` is there.
function(_qarn_rpc_default_import_dirs protos result)
  set(dirs "${CMAKE_CURRENT_SOURCE_DIR}")
  string(FIND ";${protos}" ";${CMAKE_CURRENT_BINARY_DIR}/" built)
  if(built GREATER -1)
    list(PREPEND dirs "${CMAKE_CURRENT_BINARY_DIR}")
  endif()
  set(${result} "${dirs}" PARENT_SCOPE)
endfunction()

# Sets `result` to the import folders of the calls for `libraries`, which a target
# links, and for those that they hand on. What is linked later is not seen.
function(_qarn_rpc_inherited_import_dirs libraries result)
  set(dirs "")
  set(seen "")
  while(libraries)
    list(POP_FRONT libraries library)
    if(TARGET "${library}" AND NOT library IN_LIST seen)
      list(APPEND seen "${library}")
      get_target_property(library_dirs "${library}" QARN_RPC_IMPORT_DIRS)
      get_target_property(linked "${library}" INTERFACE_LINK_LIBRARIES)
      foreach(list IN ITEMS library_dirs linked)
        if(NOT ${list})
          set(${list} "")
        endif()
      endforeach()
      list(APPEND dirs ${library_dirs})
      list(APPEND libraries ${linked})
    endif()
  endwhile()
  set(${result} "${dirs}" PARENT_SCOPE)
endfunction()

# Sets `result` to the absolute, normal paths of `files`, each once, and
# `built_result` to those of them that the build writes. Refuses files that protoc
# could not find.
function(_qarn_rpc_absolute_protos files result built_result)
  set(paths "")
  set(built "")
  foreach(file IN LISTS files)
    cmake_path(ABSOLUTE_PATH file NORMALIZE OUTPUT_VARIABLE path)
    get_source_file_property(is_generated "${path}" GENERATED)
    if(is_generated)
      list(APPEND built "${path}")
    elseif(NOT EXISTS "${path}")
      list(APPEND built "${path}")
      # A file in the build folder may be one that the build has yet to write.
      cmake_path(IS_PREFIX CMAKE_BINARY_DIR "${path}" may_be_generated)
      if(NOT may_be_generated)
        _qarn_rpc_fail("'${file}' does not exist (looked for '${path}'). \
Relative names start at the folder of the CMakeLists.txt.")
      endif()
    endif()
    list(APPEND paths "${path}")
  endforeach()
  list(REMOVE_DUPLICATES paths)
  set(${result} "${paths}" PARENT_SCOPE)
  set(${built_result} "${built}" PARENT_SCOPE)
endfunction()

# Sets `result` to the names under which other files import `paths`: what is left
# of each below the first import folder that holds it, as protoc has it. Refuses
# files that no import folder holds.
function(_qarn_rpc_import_names paths import_dirs result)
  set(names "${paths}")
  foreach(dir IN LISTS import_dirs)
    # The paths are normal, so what is left of one does not match again.
    string(REGEX REPLACE "([][+.*()^$?|\\\\])" "\\\\\\1" prefix "${dir}/")
    string(REGEX REPLACE "//$" "/" prefix "${prefix}")
    list(TRANSFORM names REPLACE "^${prefix}" "")
  endforeach()
  set(outside "${names}")
  list(FILTER outside INCLUDE REGEX "^(/|[A-Za-z]:/)")
  if(outside)
    list(GET outside 0 path)
    list(JOIN import_dirs "', '" dirs)
    _qarn_rpc_fail("'${path}' is in none of the import folders ('${dirs}'). \
Add the folder that its imports start from to IMPORT_DIRS.")
  endif()
  string(FIND ";${paths}" ";${CMAKE_BINARY_DIR}/" built)
  if(built GREATER -1)
    _qarn_rpc_check_built_names("${paths}" "${names}")
  endif()
  set(${result} "${names}" PARENT_SCOPE)
endfunction()

# `paths` in the build folder are imported from a folder in it, too: when it is
# inside the source folder, their `names` would start with the build folder's.
function(_qarn_rpc_check_built_names paths names)
  foreach(path name IN ZIP_LISTS paths names)
    cmake_path(IS_PREFIX CMAKE_BINARY_DIR "${path}" is_built)
    if(is_built AND NOT path STREQUAL "${CMAKE_BINARY_DIR}/${name}")
      string(LENGTH "${path}" length)
      string(LENGTH "/${name}" name_length)
      math(EXPR length "${length} - ${name_length}")
      string(SUBSTRING "${path}" 0 ${length} dir)
      cmake_path(IS_PREFIX CMAKE_BINARY_DIR "${dir}" is_built_dir)
      if(NOT is_built_dir)
        _qarn_rpc_fail("'${path}' is in the build folder, \
but would be imported as '${name}', from '${dir}'. \
Put the folder that its imports start from first in IMPORT_DIRS.")
      endif()
    endif()
  endforeach()
endfunction()

# Refuses at the end of the configure step programs and shared libraries that would
# have the archive `library`, of an options schema, twice: in themselves and in a
# shared library that they link, or in two of those. What comes through other
# libraries is not looked at.
function(_qarn_rpc_check_copies_of library)
  get_property(checked GLOBAL PROPERTY _qarn_rpc_checked_for_copies)
  get_target_property(type "${library}" TYPE)
  get_target_property(aliased "${library}" ALIASED_TARGET)
  if(aliased)
    set(library "${aliased}")
  endif()
  if(type STREQUAL "STATIC_LIBRARY" AND NOT library IN_LIST checked)
    set_property(GLOBAL APPEND PROPERTY _qarn_rpc_checked_for_copies "${library}")
    cmake_language(EVAL CODE "cmake_language(DEFER DIRECTORY [==[${CMAKE_SOURCE_DIR}]==]
      CALL _qarn_rpc_check_copies_in [==[${CMAKE_SOURCE_DIR}]==] [==[${library}]==])")
  endif()
endfunction()

# The same for the targets of `folder` and of those below it.
function(_qarn_rpc_check_copies_in folder library)
  get_property(targets DIRECTORY "${folder}" PROPERTY BUILDSYSTEM_TARGETS)
  foreach(target IN LISTS targets)
    get_target_property(type ${target} TYPE)
    if(type MATCHES "EXECUTABLE|SHARED_LIBRARY|MODULE_LIBRARY")
      get_target_property(libraries ${target} LINK_LIBRARIES)
      set(holders "")
      foreach(holder IN LISTS target libraries)
        _qarn_rpc_links("${holder}" "${library}" is_holder)
        if(is_holder)
          list(APPEND holders "${holder}")
        endif()
      endforeach()
      list(REMOVE_DUPLICATES holders)
      list(LENGTH holders count)
      if(count GREATER 1)
        list(JOIN holders "' and '" holders)
        _qarn_rpc_fail("'${target}' would hold the library of the options, '${library}', twice: \
in '${holders}'. The program would end when it starts. Make it a shared library: \
set(QARN_RPC_SHARED_OPTIONS ON) ahead of the first qarn_rpc_generate(), \
or, if it is a library of your own, add_library(${library} SHARED).")
      endif()
    endif()
  endforeach()
  get_property(folders DIRECTORY "${folder}" PROPERTY SUBDIRECTORIES)
  foreach(folder IN LISTS folders)
    _qarn_rpc_check_copies_in("${folder}" "${library}")
  endforeach()
endfunction()

# Sets `result` to whether `target` is a program or a shared library of this build
# that links `library` itself.
function(_qarn_rpc_links target library result)
  set(${result} FALSE PARENT_SCOPE)
  if(TARGET "${target}")
    get_target_property(type "${target}" TYPE)
    get_target_property(libraries "${target}" LINK_LIBRARIES)
    if(type MATCHES "EXECUTABLE|SHARED_LIBRARY|MODULE_LIBRARY")
      foreach(linked IN LISTS libraries)
        if(linked STREQUAL library)
          set(${result} TRUE PARENT_SCOPE)
        elseif(TARGET "${linked}")
          get_target_property(aliased "${linked}" ALIASED_TARGET)
          if(aliased STREQUAL library)
            set(${result} TRUE PARENT_SCOPE)
          endif()
        endif()
      endforeach()
    endif()
  endif()
endfunction()

# Remembers that this folder has the rules for `files`, which the caller compiles,
# and refuses at the end of the configure step targets of other folders that have
# them as sources: CMake would say that a file is missing, or leave that to the
# build.
function(_qarn_rpc_check_users_of files)
  foreach(file IN LISTS files)
    set_property(GLOBAL PROPERTY "_qarn_rpc_home_of_${file}" "${CMAKE_CURRENT_SOURCE_DIR}")
  endforeach()
  get_property(is_deferred GLOBAL PROPERTY _qarn_rpc_checks_users)
  if(NOT is_deferred)
    set_property(GLOBAL PROPERTY _qarn_rpc_checks_users TRUE)
    cmake_language(EVAL CODE "cmake_language(DEFER DIRECTORY [==[${CMAKE_SOURCE_DIR}]==]
      CALL _qarn_rpc_check_users_in [==[${CMAKE_SOURCE_DIR}]==])")
  endif()
endfunction()

# The same for the targets of `folder` and of those below it. A target that
# depends on others by add_dependencies() may well wait for the files.
function(_qarn_rpc_check_users_in folder)
  get_property(targets DIRECTORY "${folder}" PROPERTY BUILDSYSTEM_TARGETS)
  foreach(target IN LISTS targets)
    get_target_property(sources ${target} SOURCES)
    get_target_property(waits ${target} MANUALLY_ADDED_DEPENDENCIES)
    if(sources AND NOT waits)
      foreach(source IN LISTS sources)
        get_property(home GLOBAL PROPERTY "_qarn_rpc_home_of_${source}")
        if(home AND NOT home STREQUAL folder)
          _qarn_rpc_fail("the target '${target}' of the folder '${folder}' compiles '${source}', \
but the rule for that file is in '${home}', which made it for OUT_VAR. \
Call qarn_rpc_generate() in the folder of the target, or give the call TARGET there.")
        endif()
      endforeach()
    endif()
  endforeach()
  get_property(folders DIRECTORY "${folder}" PROPERTY SUBDIRECTORIES)
  foreach(folder IN LISTS folders)
    _qarn_rpc_check_users_in("${folder}")
  endforeach()
endfunction()
