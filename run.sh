#!/usr/bin/env bash
# Installs what is missing, builds, and runs merovan with the given arguments.
set -euo pipefail
source "$(dirname "$0")/scripts/common.sh"
install_packages
build_tree "$MEROVAN_ROOT/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo
exec "$MEROVAN_ROOT/build/src/app/merovan" "$@"
