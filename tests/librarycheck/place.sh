#!/usr/bin/env bash
# Which device library the launcher takes, what it says of one that cannot be taken, and what configuring says of one.
#   place.sh <program that stands for the application> <device library> <launcher> <source folder> <cmake> <compiler>
set -uo pipefail
program=$1 library=$2 launcher=$3 source=$4 cmake=$5 compiler=$6
unset NOLVA_DEVICE_LIBRARY LD_LIBRARY_PATH LD_BIND_NOW WAYLAND_DISPLAY DISPLAY
box=$(mktemp -d)
trap 'rm -r "$box"' EXIT
export LC_ALL=C KNDD_HOME=$box
failed=0

# expect CASE STATUS TEXT COMMAND...: one line on the two outputs together, TEXT in it, and the exit status.
expect() {
    local name=$1 status=$2 text=$3 said result
    shift 3
    said=$("$@" 2>&1 </dev/null)
    result=$?
    [ "$result" -eq "$status" ] && [ "$(wc -l <<<"$said")" -eq 1 ] && [[ $said == *"$text"* ]] && return
    printf 'FAIL %s: ended with %s, not %s, not one line with "%s":\n%s\n' "$name" "$result" "$status" "$text" "$said"
    failed=1
}

# The installed tree, as far as it matters, and libraries right and wrong. Names in an ELF file are changed in place.
private=$box/$(sed -n 's|^libdir=$prefix/||p' "$launcher")
mkdir -p "$box/bin" "$private" "$box/share/nolva-diagnostic"
install "$launcher" "$box/bin/nolva-diagnostic"
cp "$source/packaging/devicelibrary.sh" "$private"
cp "$program" "$private/QtTharlenTest"
name=libTharlenIOLib42.so
cp "$library" "$private/$name"
cd "$box" || exit
mkdir good "an odd <b>name\\n" empty text machine lacking needy newer thin 'colon:' folder bare other
mkdir "folder/$name"
cp "$library" good/
cp "$library" "an odd <b>name\\n/"
cp "$library" colon:/
cp "$library" good/another.so
printf '%64s' "no library" >"text/$name"
cp "$library" "machine/$name"
printf '\050' | dd of="machine/$name" bs=1 seek=18 conv=notrunc status=none
sed 's/get_pinch_value/got_pinch_value/g' "$library" >"lacking/$name"
sed 's/libc\.so\.6/libq.so.6/g' "$library" >"needy/$name"
sed 's/GLIBC_2\.2\.5/GLIBC_9.2.5/g' "$library" >"newer/$name"
sed "s/$name/libTharlenIOLib43.so/g" "$library" >"other/$name"
sed 's/_Znwm/_Zqwm/g' "$library" >"thin/$name"
"$compiler" -shared -o "bare/$name" -x c++ /dev/null

start=bin/nolva-diagnostic
expect "none asked for" 0 "started with $private/$name" $start
while IFS='|' read -r asked status text; do
    NOLVA_DEVICE_LIBRARY=$asked expect "asked for $asked" "$status" "$text" $start
done <<ROWS
good|0|started with $box/good/$name
good/$name|0|started with $box/good/$name
$box/good/|0|started with $box/good/$name
an odd <b>name\\n|0|started with $box/an odd <b>name\\n/$name
god|1|There is no $box/god
empty|1|The folder $box/empty holds no $name
good/another.so|1|by the name $name, not $box/good/another.so
folder|1|$box/folder/$name is not a file
colon:|1|colon or semicolon
text|1|$box/text/$name: invalid ELF header
machine|1|$box/machine/$name is no library for this machine
lacking|1|$box/lacking/$name cannot be used: it lacks get_pinch_value,
needy|1|There is no libq.so.6
newer|1|version \`GLIBC_9.2.5' not found (required by $box/newer/$name)
thin|1|$box/thin/$name cannot be used: it needs _Zqwm, which no library offers
bare|1|more, which the application calls
ROWS
rm "$private/$name"
expect "none installed" 1 "There is no $name" $start
# The program itself does not get as far as main() either.
LD_LIBRARY_PATH=$box/lacking \
    expect "without the launcher" 127 "undefined symbol: get_pinch_value" "$private/QtTharlenTest"

# From the desktop the same line is in a box, as plain text, by the first program there that shows one.
mkdir tools
for tool in sed tr readlink dirname; do ln -s "$(command -v $tool)" tools/; done
printf '#!/bin/sh\nprintf "%%s\\n" "$@" >shown\n' >tools/xmessage
chmod +x tools/xmessage
cp tools/xmessage tools/kdialog
cp tools/xmessage tools/zenity
while IFS='|' read -r tool option text; do
    expect "box of $tool" 1 '<b>no\n&' env DISPLAY=:0 "PATH=$box/tools" NOLVA_DEVICE_LIBRARY='<b>no\n&' $start
    [[ $(cat shown) == *"$option"*"$text"* ]] || { printf 'FAIL %s shows: %s\n' "$tool" "$(cat shown)"; failed=1; }
    rm "tools/$tool" shown
done <<'ROWS'
zenity|--no-markup|<b>no\\n&
kdialog|<qt>|&lt;b&gt;no&#92;n&amp;
xmessage|-center|<b>no\n&
ROWS

# configure FILE: in one line, as a person would read it.
configure() {
    local said
    said=$("$cmake" "-DTHARLEN_IO_LIBRARY=$1" -P "$source/tests/librarycheck/place.cmake" 2>&1)
    local result=$?
    tr -s ' \n' ' ' <<<"$said"
    return "$result"
}
ln -s "$box/good/another.so" "empty/$name"
while IFS='|' read -r file status text; do
    expect "configured with $file" "$status" "$text" configure "$file"
done <<ROWS
$box/good/$name|0|
$box/empty/$name|0|
good/$name|1|give the whole path
$box/god/$name|1|there is no such file
$box/good|1|name the file $name in it
$box/good/another.so|1|has to be called $name
$box/colon:/$name|1|cannot be searched
$box/text/$name|1|no shared library of this machine
$box/machine/$name|1|no shared library of this machine
$box/bare/$name|1|its SONAME is "", so that no other
$box/other/$name|1|its SONAME is "libTharlenIOLib43.so"
ROWS
exit $failed
