# The date of the release, for the man pages and the Debian package: that of the
# section of CHANGELOG.md for the project's version, and not of the build.

# Sets `result` to the date as in 2026-11-21, and `rfc_result` to its first second
# as mail has it: Sat, 21 Nov 2026 00:00:00 +0000.
function(qarn_rpc_release_date result rfc_result)
  set(changelog "${PROJECT_SOURCE_DIR}/CHANGELOG.md")
  string(REPLACE "." "\\." version "${PROJECT_VERSION}")
  file(STRINGS "${changelog}" heading LIMIT_COUNT 1
    REGEX "^## ${version} - [0-9][0-9][0-9][0-9]-[0-9][0-9]-[0-9][0-9]$")
  if(NOT heading)
    message(FATAL_ERROR
      "CHANGELOG.md has no section for the version that CMakeLists.txt names. "
      "Give it the heading '## ${PROJECT_VERSION} - YEAR-MONTH-DAY'.")
  endif()
  string(REGEX MATCH "([0-9]+)-([0-9]+)-([0-9]+)$" date "${heading}")
  # As numbers, without leading zeros. January and February count as months of
  # the year before, so that the leap day is the last of its year.
  math(EXPR month "1${CMAKE_MATCH_2} - 100")
  math(EXPR day "1${CMAKE_MATCH_3} - 100")
  math(EXPR year "${CMAKE_MATCH_1} - (14 - ${month}) / 12")
  math(EXPR month "(${month} + 9) % 12")
  math(EXPR days "365 * ${year} + ${year} / 4 - ${year} / 100 + ${year} / 400 \
    + (153 * ${month} + 2) / 5 + ${day} - 719469")
  # What string(TIMESTAMP) takes for now.
  set(epoch_before "$ENV{SOURCE_DATE_EPOCH}")
  math(EXPR epoch "${days} * 86400")
  set(ENV{SOURCE_DATE_EPOCH} "${epoch}")
  string(TIMESTAMP rfc "%a, %d %b %Y %H:%M:%S +0000" UTC)
  # Empty is no value: compilers refuse it.
  if(epoch_before STREQUAL "")
    unset(ENV{SOURCE_DATE_EPOCH})
  else()
    set(ENV{SOURCE_DATE_EPOCH} "${epoch_before}")
  endif()
  set(${result} "${date}" PARENT_SCOPE)
  set(${rfc_result} "${rfc}" PARENT_SCOPE)
endfunction()
