#!/usr/bin/env bash
# Says, name by name, whether an RPC runtime fits the code that
# protoc-gen-qarn-rpc generates.
#
#   check_runtime.sh INCLUDE_DIR [compiler flag...]
#
# INCLUDE_DIR is the folder from which the runtime's "qarn/rpc.h" is included.
# The flags are those that you compile generated code with, such as -std=c++17,
# -Wall or -I for other libraries. A library among them (-lmine, libmine.a) is
# linked, too.
#
# Compiles one small probe for each name of docs/runtime.md, and prints "fits"
# beside it, or the compiler's first error, or the name because of which it
# cannot fit. Then compiles whole generated files, and links them. Nothing of
# the runtime is run. What the compiler says in full of a misfit stays in a
# folder that the last line names.
#
# From the environment: CXX (c++), PROTOC (protoc), QARN_RPC_PLUGIN (the plugin
# that stands with this script, or the one on the PATH), QARN_RPC_PROTO_DIR (the
# folder of the options schema), TMPDIR.
#
# Exit status: 0 the runtime fits, 1 it does not, 2 wrong usage, 3 no qarn/rpc.h
# in INCLUDE_DIR, 4 the compiler does not run or refuses the flags, 5 something
# else that generated code needs is missing: protoc, the plugin, or the headers
# of protobuf or Boost.
set -euo pipefail
export LC_ALL=C

fail() {
  echo "check_runtime: $2" >&2
  exit "$1"
}

if [[ $# -eq 0 || $1 == -* ]]; then
  echo "usage: check_runtime.sh INCLUDE_DIR [compiler flag...]" >&2
  exit 2
fi
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
data=$here/check_runtime
include_dir=${1%/}
shift
if [[ ! -f $include_dir/qarn/rpc.h ]]; then
  fail 3 "there is no qarn/rpc.h in '$include_dir'; name the folder from which it is included"
fi

work=$(mktemp -d "${TMPDIR:-/tmp}/check_runtime.XXXXXX" 2>/dev/null) ||
  fail 5 "no temporary folder could be made; set TMPDIR to a folder that can be written to"
trap 'rm -rf "$work"' EXIT
mkdir "$work/logs" "$work/messages" "$work/plain" "$work/api"

# CXX may hold options, or be a path with a blank. What is for the linker alone
# would be an error for some compilers. The messages' folder is a system one:
# warnings about them are protobuf's.
compiler=("${CXX:-c++}")
if ! command -v "${compiler[0]}" >/dev/null; then read -ra compiler <<<"${compiler[0]}"; fi
flags=("-I$include_dir")
link_flags=()
libraries=()
for flag; do
  case $flag in
    -l* | *.a | *.o | *.so | *.so.* | *.dylib) libraries+=("$flag") ;;
    -L* | -Wl,*) link_flags+=("$flag") ;;
    *) flags+=("$flag") ;;
  esac
done
flags+=(-isystem "$work/messages" -fdiagnostics-color=never)

# What is kept of a name or a file, without an ending.
kept_of() {
  local name=${1//::/.}
  printf '%s\n' "$work/logs/${name//\//.}"
}

# Compiles $1 with the arguments. What the compiler says goes to its log, and
# where that fits, a file says so.
compile() {
  local kept
  kept=$(kept_of "$1")
  shift
  "${compiler[@]}" "${flags[@]}" "$@" >"$kept.log" 2>&1 && touch "$kept.fits"
}

# The first error of $1, without its place unless that is in the runtime, and
# without the arguments of templates. Where nothing matches a call, the note that
# says why follows.
first_error() {
  local line reason log
  log=$(kept_of "$1").log
  line=$(grep -m1 -E '(^|[: ])error: ' "$log" || tail -n 1 "$log")
  line=${line#"$include_dir"/}
  case $line in "$data"/* | "$work"/*) line=${line#*: } ;; esac
  if [[ $line == *"no matching "* ]]; then
    reason=$(sed -nE -e '/substitution failed/d' -e 's/.*note:   //' -e t1 \
      -e 's/.*candidate .*(not viable|ignored): //' -e t1 -e d -e :1 -e p -e q "$log")
    line+=${reason:+: $reason}
  fi
  printf '%s\n' "$line" | sed -E \
    -e 's/^([^ ]*:[0-9]+):[0-9]+: /\1: /' \
    -e 's/(fatal )?error: //' \
    -e 's/ \[with [^]]*\]//g' \
    -e "s/ (\{aka '[^']*'\}|\(aka '[^']*'\))//g"
}

# ------------------------------------------------------------------------------
# What is needed besides the runtime.

command -v "${compiler[0]}" >/dev/null ||
  fail 4 "the compiler '${compiler[*]}' was not found; set CXX to the one that you use"
echo >"$work/empty.cc"
compile empty -fsyntax-only "$work/empty.cc" ||
  fail 4 "the compiler '${compiler[*]}' does not compile an empty file: $(first_error empty)"
# g++ 16 sets the reason of an error apart by bullets, unless it is told not to.
if compile plain -fdiagnostics-plain-output -fsyntax-only "$work/empty.cc"; then
  flags+=(-fdiagnostics-plain-output)
fi

# The first of the files that exists.
first_of() {
  local file
  for file; do
    if [[ -f $file ]]; then
      printf '%s\n' "$file"
      return
    fi
  done
}

plugin=${QARN_RPC_PLUGIN:-$(first_of "$here"/../../bin/protoc-gen-qarn-rpc \
  "$here"/../build/{release,dev}/protoc-gen-qarn-rpc "$(command -v protoc-gen-qarn-rpc || true)")}
[[ -x $plugin ]] ||
  fail 5 "protoc-gen-qarn-rpc was not found; put it on the PATH, or set QARN_RPC_PLUGIN to its path"
schema=morvane/qarn/rpc/service_options.proto
schema_file=$(first_of "${QARN_RPC_PROTO_DIR:-$here/../proto}/$schema" "$here/../../include/$schema")
[[ $schema_file ]] ||
  fail 5 "$schema was not found; set QARN_RPC_PROTO_DIR to the folder from which it is imported"
import_dirs=(-I "$data/files" -I "${schema_file%/"$schema"}")

# The schema imports a file of protobuf's. protoc finds it by itself only where it
# was installed with it, so it is looked for beside the headers.
echo "#include <google/protobuf/stubs/common.h>" >"$work/protobuf.cc"
compile protobuf -E -H "$work/protobuf.cc" -o "$work/protobuf.ii" || true
header=$(sed -n 's,^\. \(.*/google/protobuf/\)stubs/common\.h$,\1,p' "$work/logs/protobuf.log")
if [[ -f ${header}descriptor.proto ]]; then
  import_dirs+=(-I "${header%/google/protobuf/}")
fi

command -v "${PROTOC:-protoc}" >/dev/null ||
  fail 5 "${PROTOC:-protoc} was not found; put protoc on the PATH, or set PROTOC to its path"
# Warnings about the schema are not the user's.
generate() {
  "${PROTOC:-protoc}" "${import_dirs[@]}" "$@" >"$work/logs/protoc.log" 2>&1 ||
    fail 5 "protoc does not generate the files to check with: $(grep -vm1 -i warning "$work/logs/protoc.log")"
}
protos=(kinds.proto no_package.proto)
generate --cpp_out="$work/messages" messages.proto "${protos[@]}" "$schema"
generate --plugin=protoc-gen-qarn-rpc="$plugin" --qarn-rpc_out="$work/plain" "${protos[@]}"
generate --plugin=protoc-gen-qarn-rpc="$plugin" \
  --qarn-rpc_out=services_namespace=api:"$work/api" "${protos[@]}"

# ------------------------------------------------------------------------------
# The names.

# Every probe starts with the same includes, so they are compiled once.
cp "$data/probe.h" "$work"
if ! compile includes -x c++-header "$work/probe.h" -o "$work/probe.h.gch"; then
  compile without_runtime -fsyntax-only -DQARN_RPC_CHECK_RUNTIME_WITHOUT_RUNTIME \
    -x c++ "$work/probe.h" ||
    fail 5 "what generated code includes besides qarn/rpc.h does not compile: $(first_error without_runtime)"
fi

# Cuts the probe of $1 out of all. For the compiler it stays where it was, so that
# its messages name a place that lasts.
probe() {
  local file
  file=$(kept_of "$1").cc
  awk -v name="$1" '
    $1 " " $2 == "// probe:" && (wanted = $3 == name) {
      place = FILENAME
      gsub(/[\\"]/, "\\\\&", place)
      printf "namespace probe {\n#line %d \"%s\"\n", NR, place
    }
    wanted
    END { print "}" }' "$data/probes.cc" >"$file"
  compile "$1" -include "$work/probe.h" -iquote "$data" -fsyntax-only "$file"
}

jobs=$(getconf _NPROCESSORS_ONLN 2>/dev/null || echo 2)
in_background() {
  "$@" &
  started=$((${started:-0} + 1))
  if ((started % jobs == 0)); then wait; fi
}

# Says of each name of $1 whether it fits, and ends the run if one does not. $1 has a
# line for each, in which those that it needs follow. The names that stand behind its
# misfit: itself, unless names that it needs do not fit.
report() {
  local name needs result causes list misfits=()
  while read -r name needs; do
    result=fits
    if [[ ! -e $(kept_of "$name").fits ]]; then
      causes=$(for needed in $needs; do
        cat "$(kept_of "$needed").causes" 2>/dev/null || true
      done | awk '!seen[$0]++')
      if [[ $causes ]]; then
        result="cannot fit, because of ${causes//$'\n'/, }"
      else
        result=$(first_error "$name")
        causes=$name
        misfits+=("$name")
      fi
      printf '%s\n' "$causes" >"$(kept_of "$name").causes"
    fi
    printf '%-30s %s\n' "$name" "$result"
  done <<<"$1"
  if [[ ${misfits[*]+set} ]]; then
    list=$(printf '%s, ' "${misfits[@]}")
    end_with_misfit "${list%, }"
  fi
}

# Ends the run after a misfit in $1. The compiler's words are worth keeping then.
end_with_misfit() {
  local kept
  kept=$(mktemp -d "${TMPDIR:-/tmp}/check_runtime_logs.XXXXXX")
  for log in "$work"/logs/*.log; do
    if [[ -s $log ]]; then cp "$log" "$kept"; fi
  done
  fail 1 "the runtime does not fit: $1; all that the compiler said is in $kept"
}

# The header comes first, and if it does not fit, nothing can.
names=$(sed -n 's,^// probe: \([^ ]*\) *\(needs\)*,\1,p' "$data/probes.cc")
if probe qarn/rpc.h; then
  while read -r name _; do
    in_background probe "$name"
  done < <(tail -n +2 <<<"$names")
  wait
fi
report "$names"

# ------------------------------------------------------------------------------
# Whole files: generated with and without a services namespace, and used.

files=()
# Compiles the file $2, generated or for use with such, in the way $1, in which the
# services of PACKAGE are in the namespace $3.
whole() {
  local source=$work/$1/$2
  [[ -f $source ]] || source=$data/files/$2
  in_background compile "$1/$2" -c -I "$work/$1" "-DWAY=$1" "-DIN(PACKAGE)=$3" "$source" \
    -o "$work/$1.$2.o"
  files+=("$1/$2")
}
for file in "${protos[@]/%.proto/.rpc.cpp}" use.cc; do
  whole plain "$file" PACKAGE
  whole api "$file" PACKAGE::api
done
# The only messages that the program needs.
in_background compile messages -c -w "$work/messages/messages.pb.cc" -o "$work/messages.o"
in_background compile main -c "$data/files/main.cc" -o "$work/main.o"
wait
report "$(printf '%s\n' "${files[@]}")"

# A program of all of them. Without a library of the runtime's, only what its
# headers define twice is a misfit.
read -ra protobuf <<<"$(pkg-config --libs protobuf 2>/dev/null || echo -lprotobuf)"
linked=fits
if ! compile link "$work"/*.o "${link_flags[@]+"${link_flags[@]}"}" \
  "${libraries[@]+"${libraries[@]}"}" "${protobuf[@]}" -pthread -o "$work/program"; then
  twice=$(grep -m1 -oE '(multiple definition of|duplicate symbol:?) [^;]*' \
    "$work/logs/link.log" || true)
  missing=$(grep -m1 -oE 'undefined (reference|symbol).*qarn::rpc::.*' "$work/logs/link.log" || true)
  if [[ $twice ]]; then
    linked=$twice
  elif [[ $missing && ${libraries[*]+set} ]]; then
    linked=$missing
  else
    linked="not linked: ${missing:-$(first_error link)}"
    [[ ! $missing ]] || linked+="; name the runtime's library among the flags"
  fi
fi
printf '%-30s %s\n' "linked" "$linked"
case $linked in
  fits) echo "check_runtime: the runtime fits" ;;
  "not linked"*) echo "check_runtime: the runtime fits, as far as its headers go" ;;
  *) end_with_misfit linked ;;
esac
