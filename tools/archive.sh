# Where Debian packages come from: the archive that this machine itself uses, as apt is set up here.
# Sourced by the scripts that unpack packages beside the machine's own; needs say().
# shellcheck shell=bash

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

# archive_lines <architecture>: prints apt lines for the Debian archive this machine itself uses: the
# release and its updates. The security archive is left out: its index of another architecture can be
# out of step with its signed list.
# shellcheck disable=SC2016  # the $(...) below is apt's own notation
archive_lines() {
    local uri codename component origin entry key
    apt-get indextargets \
        --format '$(REPO_URI) $(CODENAME) $(COMPONENT) $(ORIGIN) $(SOURCESENTRY)' \
        'Created-By: Packages' |
        while read -r uri codename component origin entry; do
            [[ $origin == Debian && $component == main && $codename =~ ^[a-z]+(-updates)?$ ]] || continue
            key=$(key_of_entry "$entry")
            printf 'deb [arch=%s%s] %s %s %s\n' "$1" "${key:+ signed-by=$key}" "$uri" "$codename" "$component"
        done | sort -u
}

# find_archive <architecture>: sets archive_mirrors, archive_codename and archive_options for a call of
# mmdebstrap; false, after a message, when apt knows no Debian archive.
find_archive() {
    local lines setting
    lines=$(archive_lines "$1")
    if [[ -z $lines ]] && ((EUID == 0)); then
        apt-get -q update >/dev/null 2>&1 || :
        lines=$(archive_lines "$1")
    fi
    if [[ -z $lines ]]; then
        say "apt has no list of a Debian archive, so packages of $1 cannot be fetched."
        say "Check the network and /etc/apt, then run: apt-get update"
        return 1
    fi
    mapfile -t archive_mirrors <<<"$lines"
    archive_codename=$(sed -nE '1s/^deb \[[^]]*\] [^ ]+ ([a-z]+).*/\1/p' <<<"$lines")

    # mmdebstrap reads no apt configuration of the machine: hand over what reaching the archive may need.
    archive_options=()
    while IFS= read -r setting; do
        archive_options+=("--aptopt=${setting%;}")
    done < <(apt-config dump | grep -E '^Acquire::(https?::Proxy|Retries|Check-Valid-Until)[ :]')
}
