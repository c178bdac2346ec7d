#!/usr/bin/env bash
# Makes build/sysroot-i386: the 32-bit libraries, unpacked beside the machine's own and not installed.
#
# The directory is there whole or not at all: it is built under another name, stamped with its package
# list and then renamed. With a stamp that fits there is nothing to do. Needs mmdebstrap and the
# network, but no root: packages are only unpacked, none of their scripts is run.
set -euo pipefail
cd "$(dirname "$0")/.."
source tools/packages.sh

say() { printf 'setup: %s\n' "$*" >&2; }

sysroot=build/sysroot-i386
wanted="i386 ${packages_sysroot[*]}"
is_current() { [[ -f $sysroot/.packages && $(<"$sysroot/.packages") == "$wanted" ]]; }

is_current && exit 0
mkdir -p build
exec 9>build/.sysroot.lock
flock 9
is_current && exit 0 # another run made it while this one waited

if ! command -v mmdebstrap >/dev/null; then
    say "mmdebstrap is missing; install it with: apt-get install --no-install-recommends mmdebstrap"
    exit 1
fi

# Prints the key file that apt's sources give for one entry, "file:number" as apt names it: the number
# is a line in a .list file and a stanza in a .sources file. Prints nothing where apt's own keys do.
key_of_entry() {
    local file=${1%:*} number=${1##*:}
    case $file in
        *.sources)
            awk -v number="$number" '
                BEGIN { RS = ""; FS = "\n" }
                { stanza = 0; for (i = 1; i <= NF; i++) if ($i ~ /^[A-Za-z-]+:/) stanza = 1 }
                stanza && ++seen == number {
                    for (i = 1; i <= NF; i++)
                        if (tolower($i) ~ /^signed-by:[ \t]*\//) { sub(/^[^:]*:[ \t]*/, "", $i); print $i }
                }' "$file"
            ;;
        *) sed -nE "${number}s/^deb .*\[.*signed-by=([^] ]*).*\].*/\1/p" "$file" ;;
    esac
}

# Prints apt lines for the Debian archive this machine itself uses: the release and its updates. The
# security archive is left out: its i386 index can be out of step with its signed list.
# shellcheck disable=SC2016  # the $(...) below is apt's own notation
archive_lines() {
    local uri codename component origin entry key
    apt-get indextargets \
        --format '$(REPO_URI) $(CODENAME) $(COMPONENT) $(ORIGIN) $(SOURCESENTRY)' \
        'Created-By: Packages' |
        while read -r uri codename component origin entry; do
            [[ $origin == Debian && $component == main && $codename =~ ^[a-z]+(-updates)?$ ]] || continue
            key=$(key_of_entry "$entry")
            printf 'deb [arch=i386%s] %s %s %s\n' "${key:+ signed-by=$key}" "$uri" "$codename" "$component"
        done | sort -u
}

lines=$(archive_lines)
if [[ -z $lines ]] && ((EUID == 0)); then
    apt-get -q update >/dev/null 2>&1 || :
    lines=$(archive_lines)
fi
if [[ -z $lines ]]; then
    say "apt has no list of a Debian archive, so the 32-bit libraries cannot be fetched."
    say "Check the network and /etc/apt, then run: apt-get update"
    exit 1
fi
mapfile -t mirrors <<<"$lines"
codename=$(sed -nE '1s/^deb \[[^]]*\] [^ ]+ ([a-z]+).*/\1/p' <<<"$lines")

# mmdebstrap reads no apt configuration of the machine: hand over what reaching the archive may need.
options=()
while IFS= read -r setting; do
    options+=("--aptopt=${setting%;}")
done < <(apt-config dump | grep -E '^Acquire::(https?::Proxy|Retries|Check-Valid-Until)[ :]')

say "building the 32-bit sysroot (half a minute, about 350 MB in build/)"
log=build/sysroot.log
rm -rf "$sysroot.new"
trap 'rm -rf "$sysroot.new"' EXIT
packages=$(IFS=,; echo "${packages_sysroot[*]}")
if ! mmdebstrap --mode=chrootless --variant=extract --architectures=i386 --skip=check/qemu \
    --include="$packages" "${options[@]}" "$codename" "$sysroot.new" "${mirrors[@]}" >"$log" 2>&1; then
    grep -E '^(E|Err)[: ]' "$log" | tail -n 12 >&2 || tail -n 12 "$log" >&2
    say "could not build the 32-bit sysroot; the whole log is in $log."
    say "Is the network there? Nothing half-built was left; run again when that is mended."
    say "Without it the machine's own word size still works: WORDSIZE=64 make test"
    exit 1
fi
# Development links such as libz.so name their library by an absolute path: make them stay inside.
find "$sysroot.new/usr/lib" -lname '/*' -print0 | while IFS= read -r -d '' link; do
    ln -sfr "$sysroot.new$(readlink "$link")" "$link"
done
printf '%s\n' "$wanted" >"$sysroot.new/.packages"
rm -rf "$sysroot"
mv "$sysroot.new" "$sysroot"
rm -f "$log"
