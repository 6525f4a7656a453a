#!/usr/bin/env bash
# Installs the Debian packages the project builds, runs and tests with.
# Idempotent: asks apt only for what is missing, and updates the package lists at most once.
set -euo pipefail

packages=(
    cmake ninja-build g++ pkg-config clang-format
    qt6-base-dev qt6-base-dev-tools qt6-declarative-dev qt6-multimedia-dev qt6-l10n-tools
    libqt6sql6-sqlite libqt6opengl6-dev
    qml6-module-qtquick qml6-module-qtquick-controls qml6-module-qtquick-layouts
    qml6-module-qtquick-window qml6-module-qtquick-templates qml6-module-qtqml-workerscript
    qml6-module-qtquick-dialogs qml6-module-qtmultimedia
    # The folder dialogs of Qt Quick browse with this module wherever no native dialog exists.
    qml6-module-qt-labs-folderlistmodel
    libprotobuf-dev protobuf-compiler libsqlite3-dev
    libbenchmark-dev
    curl ffmpeg nginx-light xvfb sqlite3
    # Sound: Qt Multimedia's GStreamer backend cannot even build a player without the base
    # plugins, should it be chosen over the FFmpeg one; the sound tests play into a PulseAudio
    # server of their own with a null output, and record it with parec.
    gstreamer1.0-plugins-base pulseaudio pulseaudio-utils
    unzip
)

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$p")
    fi
done

if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then
    SUDO="sudo"
fi

echo "setup-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
