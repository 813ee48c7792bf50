#!/usr/bin/env bash
# Sets up and builds Duoscope, then starts it. Without a display it runs offscreen.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
if [[ -z "${DISPLAY:-}${WAYLAND_DISPLAY:-}" && -z "${QT_QPA_PLATFORM:-}" ]]; then
    echo "No display found: running offscreen (QT_QPA_PLATFORM=offscreen)."
    export QT_QPA_PLATFORM=offscreen
fi
exec build/bin/duoscope "$@"
