#!/bin/sh
# Makes the sample applications folder that docs/linux.md's vantor-inventory
# example runs on: a few bundles of our own in the macOS shape, with contained
# helpers and extensions, a plain Utilities folder, a folder that is no bundle
# and a hidden one. File sizes are fixed, so the listing is the same on every
# machine (dates aside).
#   scripts/make-sample-applications.sh DIR     (DIR must not exist yet)
set -eu

[ $# -eq 1 ] || { echo "usage: $0 DIR" >&2; exit 2; }
root=$1
[ ! -e "$root" ] || { echo "$0: $root exists already" >&2; exit 1; }

# bundle PATH IDENTIFIER VERSION EXECUTABLE-BYTES [ICON]
bundle() {
  mkdir -p "$1/Contents/MacOS" "$1/Contents/Resources"
  name=$(basename "$1" .app)
  name=${name%.appex}
  {
    echo '<?xml version="1.0" encoding="UTF-8"?>'
    echo '<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">'
    echo '<plist version="1.0"><dict>'
    echo "  <key>CFBundleIdentifier</key><string>$2</string>"
    echo "  <key>CFBundleExecutable</key><string>$name</string>"
    [ -z "$3" ] || echo "  <key>CFBundleShortVersionString</key><string>$3</string>"
    echo "  <key>NSHumanReadableCopyright</key><string>Sample bundle made by the Vantor project</string>"
    [ $# -lt 5 ] || echo "  <key>CFBundleIconFile</key><string>$5</string>"
    echo '</dict></plist>'
  } > "$1/Contents/Info.plist"
  head -c "$4" /dev/zero > "$1/Contents/MacOS/$name"
  chmod +x "$1/Contents/MacOS/$name"
}

bundle "$root/Sketchbook.app" com.example.sketchbook 3.2.1 2400000 Sketchbook
head -c 180000 /dev/zero > "$root/Sketchbook.app/Contents/Resources/Sketchbook.icns"
bundle "$root/Sketchbook.app/Contents/Library/LoginItems/Sketchbook Helper.app" com.example.sketchbook.helper 3.2.1 350000
bundle "$root/Sketchbook.app/Contents/PlugIns/Share.appex" com.example.sketchbook.share 3.2.1 90000
# Inside a contained application: never listed.
bundle "$root/Sketchbook.app/Contents/Library/LoginItems/Sketchbook Helper.app/Contents/PlugIns/Widget.appex" \
  com.example.sketchbook.widget 3.2.1 40000
head -c 1200 /dev/zero > "$root/Sketchbook.app/Contents/Resources/.cache"

bundle "$root/Ledger.app" com.example.ledger 1.0 5200000
bundle "$root/Calculator.app" com.apple.calculator 11.0 800000
bundle "$root/Utilities/Disk Gauge.app" org.example.diskgauge "" 640000
bundle "$root/Utilities/.Hidden Tool.app" com.example.hidden 1.0 1000

# A plain folder with resources but no Info.plist: not an application itself.
mkdir -p "$root/Games/Contents/Resources"
bundle "$root/Games/Puzzle.app" com.example.puzzle 0.9 1500000
