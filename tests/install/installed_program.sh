#!/usr/bin/env bash
# Installs the build into a temporary prefix, checks the desktop files are in place and valid,
# and starts the installed program offscreen: it must find its resources there, and must say
# so when the component is missing.
#   installed_program.sh <build folder>
set -euo pipefail
build=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
id=org.duoscope.Duoscope  # the desktop entry, icon and metainfo
fail() { echo "FAIL: $*" >&2; exit 1; }

cmake --install "$build" --prefix "$prefix" >/dev/null
component=$prefix/share/duoscope/Duoscope_XXX.component
for file in bin/duoscope bin/duoscope-cam bin/duoscope-cameras share/duoscope/Duoscope_XXX.component \
            share/applications/$id.desktop \
            share/icons/hicolor/scalable/apps/$id.svg \
            share/metainfo/$id.metainfo.xml; do
    [[ -e $prefix/$file ]] || fail "not installed: $file"
done
if command -v desktop-file-validate >/dev/null; then
    desktop-file-validate "$prefix/share/applications/$id.desktop"
fi
if command -v appstreamcli >/dev/null; then
    appstreamcli validate --no-net --pedantic "$prefix/share/metainfo/$id.metainfo.xml" \
        >"$work/appstream.txt" 2>&1 || { cat "$work/appstream.txt"; fail "metainfo"; }
fi

# Runs the installed program for a moment in a fresh home; its standard error goes to $1.
run() {
    local status=0
    env -u XDG_CONFIG_HOME -u XDG_STATE_HOME -u XDG_DATA_HOME HOME="$work/home" \
        QT_QPA_PLATFORM=offscreen "$prefix/bin/duoscope" --quit-after 1000 2>"$1" || status=$?
    ((status == 0)) || { cat "$1"; fail "the installed program exited with $status"; }
}
mkdir -p "$work/home"
run "$work/installed.txt"
grep -q "Resources incomplete\|VERIFY" "$work/installed.txt" && { cat "$work/installed.txt"; fail "installed"; }

# Without the component it still runs, and names where it looked: the installed folder, not
# the build's.
mv "$component" "$work/component"
run "$work/missing.txt"
grep -qF "Resources incomplete: no $component" "$work/missing.txt" ||
    { cat "$work/missing.txt"; fail "a missing component went unnoticed"; }
echo "installed program found its resources in $prefix/share/duoscope"
