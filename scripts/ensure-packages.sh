#!/usr/bin/env bash
# Installs, from Debian's packages, whatever this machine lacks to build and run
# the module: the compiler, CMake, Ninja and Qt 6, Qt Quick with the QML modules
# the viewer imports (the module itself needs only Qt Core and Gui), plus the
# packages named as arguments (the test command adds clang and its sanitizer and
# fuzzer runtimes).
set -euo pipefail

packages=(g++ cmake ninja-build qt6-base-dev qt6-base-dev-tools libgl-dev
          qt6-declarative-dev qml6-module-qtqml qml6-module-qtqml-models qml6-module-qtqml-workerscript
          qml6-module-qtquick qml6-module-qtquick-controls qml6-module-qtquick-templates
          qml6-module-qtquick-layouts qml6-module-qtquick-window qml6-module-qtquick-shapes
          "$@")
missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done

if [ ${#missing[@]} -gt 0 ]; then
    echo "Installing: ${missing[*]}"
    sudo_cmd=()
    [ "$(id -u)" -ne 0 ] && sudo_cmd=(sudo)
    export DEBIAN_FRONTEND=noninteractive
    "${sudo_cmd[@]}" apt-get update -q
    "${sudo_cmd[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}"
fi
