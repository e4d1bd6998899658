#!/usr/bin/env bash
# Installs what is missing, builds, and runs the tests through ctest: the core
# suite, or with --all the slower ones besides, but for those that are run before
# a release. The exit status is the suite's.
#
#   scripts/test.sh [--all]
set -euo pipefail
cd "$(dirname "$0")/.."

# shellcheck source=scripts/option.sh
source scripts/option.sh
read_option --all "$@"

scripts/setup.sh build test
if $given; then
  scripts/setup.sh all
  scripts/setup.sh buf || echo "test.sh: without buf its test will be skipped" >&2
fi

cmake --preset dev
cmake --build --preset dev
if ! $given; then
  ctest --preset dev --parallel "$(nproc)" --label-regex '^core$'
  exit
fi

# What is true of the program that users run, and not of a debug build: its
# hardening, the instructions that it takes, and how it is installed and packed.
cmake --preset release -B build/release-tests \
  -DQARN_RPC_BUILD_TESTS=ON -DQARN_RPC_BUILD_BENCH=ON
cmake --build build/release-tests \
  --target protoc-gen-qarn-rpc protoc-gen-qarn-rpc-any protoc-gen-qarn-rpc-lint
ctest --test-dir build/release-tests --output-on-failure --no-tests=error \
  --label-regex '^(hardening|instructions)$'
ctest --test-dir build/release-tests --output-on-failure --no-tests=error \
  --tests-regex '^consumers\.(install|installed_files|deb|deb_lintian)$'

# Rare shapes of projects wait for a release: ctest --preset dev -L '^release$'
# What makes files of a release needs the user root, and is a step of .ci/run.
ctest --preset dev --parallel "$(nproc)" --label-exclude '^(release|release-files|reproducible)$'
