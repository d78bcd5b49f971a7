# Shared by run.sh and test.sh: install what is missing, configure and build a
# tree quietly (the build's output is shown only when it fails).

MEROVAN_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# install_packages [LIST-FILE...]: apt-get installs the packages that are not
# installed yet; silent when there is nothing to do.
install_packages() {
    local wanted missing=()
    wanted=$(cat "$MEROVAN_ROOT/scripts/packages.txt" "$@" | sed -e 's/#.*//' -e '/^\s*$/d')
    for pkg in $wanted; do
        dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed' || missing+=("$pkg")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    echo "Installing ${missing[*]}" >&2
    local sudo=""
    [ "$(id -u)" -ne 0 ] && sudo="sudo"
    export DEBIAN_FRONTEND=noninteractive
    $sudo apt-get update -qq >/dev/null
    $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# build_tree DIR [CMAKE-ARGS...]: configures DIR once and builds it (only the
# target $BUILD_TARGET when that is set).
build_tree() {
    local dir=$1
    shift
    mkdir -p "$dir"
    if [ ! -f "$dir/build.ninja" ]; then
        cmake -S "$MEROVAN_ROOT" -B "$dir" -G Ninja "$@" >"$dir/configure.log" 2>&1 || {
            cat "$dir/configure.log" >&2
            return 1
        }
    fi
    cmake --build "$dir" ${BUILD_TARGET:+--target "$BUILD_TARGET"} >"$dir/build.log" 2>&1 || {
        grep -v '^\[[0-9]*/[0-9]*\]' "$dir/build.log" >&2
        return 1
    }
}
