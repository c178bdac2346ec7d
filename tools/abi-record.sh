# How the interface of a shared library is written down and compared: its exported functions and the
# types of the public headers that they hand out or take. Sourced by tools/check-abi.sh and its test.
# shellcheck shell=bash

# write_interface <library> <folder with its public headers> <file>: needs debug information with types.
write_interface() {
    abidw --headers-dir "$2" --drop-private-types --drop-undefined-syms --exported-interfaces-only \
        --no-show-locs --no-corpus-path --no-comp-dir-path --no-elf-needed --no-architecture \
        --no-parameter-names --type-id-style hash --out-file "$3" "$1"
    # Where it was built is nobody's interface.
    TREE=$PWD/ perl -pi -e "s/( path=')\Q\$ENV{TREE}\E/\$1/" "$3"
    # What is inside the records of the C library and GLib is theirs to change; they stay as names, for a parameter whose
    # type abidw is told to leave out would be left out, too.
    perl -0777 -pi -e "s{(<class-decl name='_(?:IO_|G)\w+') size-in-bits='\d+'([^>]*[^/>])>.*?</class-decl>}
                        {\$1\$2 is-declaration-only='yes'/>}gs" "$3"
}

# compare_interfaces <recorded file> <new file> [option of abidiff...]: prints what differs, in words, and tells whether
# nothing does. A record that cannot be read is complained of on the error output, with an exit status of success: that
# is a difference, too.
compare_interfaces() {
    local complaints status=0
    { complaints=$(abidiff --harmless --no-show-locs "${@:3}" "$1" "$2" 2>&1 >&3) || status=$?; } 3>&1
    [[ -z $complaints ]] || printf '%s\n' "$complaints"
    ((status == 0)) && [[ -z $complaints ]]
}

# only_adds <recorded file> <new file>: of two that differ, whether the new one has all that is recorded, as it was.
only_adds() {
    compare_interfaces "$1" "$2" --no-added-syms >/dev/null
}
