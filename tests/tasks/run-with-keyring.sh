#!/bin/sh
# Runs a command on a private D-Bus session with a freshly unlocked keyring
# (the Secret Service of gnome-keyring, made with a throwaway password) in a
# temporary home, then removes the home.
for tool in dbus-run-session gnome-keyring-daemon; do
    if ! command -v "$tool" >/dev/null 2>&1; then
        echo "run-with-keyring: $tool is missing (install the packages dbus and gnome-keyring)" >&2
        exit 97
    fi
done
home=$(mktemp -d) || exit 98
trap 'rm -rf "$home"' EXIT INT TERM
export HOME="$home" XDG_DATA_HOME="$home/data" XDG_CONFIG_HOME="$home/config" \
    XDG_RUNTIME_DIR="$home/run"
mkdir -p "$XDG_DATA_HOME" "$XDG_CONFIG_HOME" && mkdir -m 700 "$XDG_RUNTIME_DIR"
unset GNOME_KEYRING_CONTROL
dbus-run-session -- sh -c '
    printf "merovan" | gnome-keyring-daemon --unlock --components=secrets >/dev/null || {
        echo "run-with-keyring: gnome-keyring-daemon did not start" >&2; exit 99; }
    exec "$@"' sh "$@"
# The keyring daemon leaves with its session bus.
