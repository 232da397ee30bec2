#!/usr/bin/env bash
# Fails when a file includes upwards, when a layer reaches for more than it may, or when headers
# include each other in a circle. Includes are root-relative, so the folder names say it all.
#
#   tools/check-layers.sh ROOT
set -euo pipefail
cd "${1:?usage: check-layers.sh ROOT}"

# What each folder may include of this repository.
declare -A may=(
    [pd]="pd"
    [framework]="framework"
    [driver-status]="driver-status framework"
    [platform]="platform framework pd"
    [BfLagGroup]="BfLagGroup driver-status platform framework"
    [asic]="asic pd"
    [ovs]="ovs pd"
    [programs]="programs"
    [scenario]="programs"
    [asic-tool]="asic-tool asic pd programs"
    [agent]="agent programs BfLagGroup driver-status platform framework pd"
)
# The agent controls the software ASIC, where there is one, through its C header; from one place.
exception="agent/AsicControl.* asic/SoftwareAsic.h"
# The layers of the library take nothing but the C++ and C standard library and dlfcn.h; platform, asic
# and ovs also what their files, mappings and sockets need of POSIX.
library="pd framework driver-status platform BfLagGroup asic ovs"
system='(dlfcn|link)\.h|std(int|def|bool)\.h'
declare -A posix=(
    [ovs]='poll\.h|unistd\.h|sys/(socket|time|un)\.h'
    [asic]='fcntl\.h|unistd\.h|sys/(mman|stat)\.h'
    [platform]='fcntl\.h|unistd\.h|sys/(file|mman|stat|types)\.h'
)

failed=0
complain() { echo "$*" >&2; failed=1; }

includes() { # file -> included paths in quotes
    sed -n 's/^ *# *include "\([^"]*\)".*/\1/p' "$1"
}

edges=$(mktemp)
trap 'rm -f "$edges"' EXIT
for folder in "${!may[@]}"; do
    [[ -d $folder ]] || continue
    while IFS= read -r file; do
        while IFS= read -r included; do
            top=${included%%/*}
            if [[ $included != */* ]]; then
                complain "$file: include \"$included\" is not root-relative"
            elif [[ " ${may[$folder]} " != *" $top "* ]]; then
                # shellcheck disable=SC2053
                [[ $file == ${exception% *} && $included == "${exception#* }" ]] ||
                    complain "$file: $folder must not include $included"
            elif [[ ! -e $included ]]; then
                complain "$file: $included does not exist"
            fi
            [[ $file == *.h ]] && echo "$file $included" >> "$edges"
        done < <(includes "$file")
        if [[ " $library " == *" $folder "* ]]; then
            while IFS= read -r header; do
                complain "$file: <$header> is not of the standard library"
            done < <(sed -n 's/^ *# *include <\([^>]*[/.][^>]*\)>.*/\1/p' "$file" | grep -vxE "$system${posix[$folder]:+|${posix[$folder]}}" || true)
        fi
    done < <(find "$folder" -name '*.h' -o -name '*.cpp')
done

if ! tsort "$edges" > /dev/null 2> "$edges.loop"; then
    complain "headers include each other in a circle:"
    cat "$edges.loop" >&2
fi
rm -f "$edges.loop"
exit $failed
