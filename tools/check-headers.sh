#!/usr/bin/env bash
# Fails when a header does not compile alone, that is, uses what it does not include. A header that
# is the first include of the source file of its name is proven by the build.
#
#   tools/check-headers.sh ROOT COMPILER FOLDER...
set -euo pipefail
usage="usage: check-headers.sh ROOT COMPILER FOLDER..."
cd "${1:?$usage}"
export compiler=${2:?$usage}
shift 2

check() {
    local source=${1%.h}.cpp
    if [[ -e $source && $(grep -m 1 '^#include' "$source") == "#include \"$1\"" ]]; then
        return 0
    fi
    "$compiler" -std=c++20 -fsyntax-only -I. -x c++ - <<< "#include \"$1\"" ||
        { echo "$1 does not compile alone" >&2; return 1; }
}
export -f check
find "${@:?$usage}" -name '*.h' -print0 | xargs -0 -n 1 -P "$(nproc)" bash -c 'check "$0"'
