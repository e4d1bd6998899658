# Sourced by the scripts that take one option, or none.
# shellcheck shell=bash
# shellcheck disable=SC2034 # what is set is used where this is sourced

# read_option OPTION ARGUMENT...: sets `given` to whether the arguments are OPTION.
# Where they are anything else it ends the script with its usage, status 2.
read_option() {
  given=true
  case "${*:2}" in
    "") given=false ;;
    "$1") ;;
    *)
      echo "usage: scripts/$(basename "$0") [$1]" >&2
      exit 2
      ;;
  esac
}
