#!/usr/bin/env bash
# Fails when a file includes upwards, when a layer reaches for more than it may, or when headers
# include each other in a circle. Includes are root-relative, so the folder names say it all.
#
#   tools/check-layers.sh ROOT
set -euo pipefail
cd "${1:?usage: check-layers.sh ROOT}"

# What each folder may include of this repository, its own files aside. Of agent/ each folder is one.
declare -A may=(
    [pd]=""
    [framework]=""
    [driver-status]="framework"
    [platform]="framework pd"
    [BfLagGroup]="driver-status platform framework"
    [asic]="pd"
    [programs]=""
    [asic-tool]="asic pd programs"
    [agent/outcome]=""
    [agent/console]="agent/outcome platform"
    [agent/wire]="agent/outcome"
    [agent/ctl]="agent/outcome agent/console agent/wire platform programs"
)
# Above these, each storey may use the ones named before it.
below="agent/outcome BfLagGroup driver-status platform framework pd"
for storeys in agent/terms "agent/chip agent/desired" agent/model agent/restart agent/command; do
    for storey in $storeys; do may[$storey]=$below; done
    below+=" $storeys"
done
may[agent/daemon]="$below agent/console agent/wire"
may[agent]="${may[agent/daemon]} agent/daemon programs"
# The agent controls the software ASIC, where there is one, through its C header; from one place.
exception="agent/chip/AsicControl.* asic/SoftwareAsic.h"
# The layers of the library take nothing but the C++ and C standard library and dlfcn.h; platform and asic
# also what its files and mappings need of POSIX.
library="pd framework driver-status platform BfLagGroup asic"
system='(dlfcn|link)\.h|std(int|def|bool)\.h'
declare -A posix=(
    [asic]='fcntl\.h|unistd\.h|sys/(mman|stat)\.h'
    [platform]='fcntl\.h|unistd\.h|sys/(file|mman|stat|types)\.h'
)

failed=0
complain() { echo "$*" >&2; failed=1; }

includes() { # file -> included paths in quotes
    sed -n 's/^ *# *include "\([^"]*\)".*/\1/p' "$1"
}

layer_of() { # path; sets layer
    local rest=${1#*/}
    layer=${1%%/*}/${rest%%/*}
    [[ -v may[$layer] ]] || layer=${1%%/*}
}

edges=$(mktemp)
trap 'rm -f "$edges"' EXIT
while IFS= read -r file; do
    layer_of "$file"
    own=$layer
    while IFS= read -r included; do
        layer_of "$included"
        if [[ $included != */* ]]; then
            complain "$file: include \"$included\" is not root-relative"
        elif [[ " $own ${may[$own]} " != *" $layer "* ]]; then
            # shellcheck disable=SC2053
            [[ $file == ${exception% *} && $included == "${exception#* }" ]] ||
                complain "$file: $own must not include $included"
        elif [[ ! -e $included ]]; then
            complain "$file: $included does not exist"
        fi
        [[ $file == *.h ]] && echo "$file $included" >> "$edges"
    done < <(includes "$file")
    if [[ " $library " == *" $own "* ]]; then
        while IFS= read -r header; do
            complain "$file: <$header> is not of the standard library"
        done < <(sed -n 's/^ *# *include <\([^>]*[/.][^>]*\)>.*/\1/p' "$file" | grep -vxE "$system${posix[$own]:+|${posix[$own]}}" || true)
    fi
done < <(printf '%s\n' "${!may[@]}" | cut -d/ -f1 | sort -u | xargs -I{} find {} -name '*.h' -o -name '*.cpp')

if ! tsort "$edges" > /dev/null 2> "$edges.loop"; then
    complain "headers include each other in a circle:"
    cat "$edges.loop" >&2
fi
rm -f "$edges.loop"
exit $failed
