# shellcheck shell=bash
# Completion of moxctl for bash: verbs, options, and the names of classes, objects and properties.
#
# Every word comes from moxctl itself ("moxctl words"), so nothing here names a verb or an option.
# Without an owner there are no names of the model, and no word of complaint. A blank within a word
# must stand behind a backslash, as it does in what is offered; quotes are not understood. A name
# that begins with "-" is offered behind "--" only, because it would be an option before it.

# Prints the words of a kind, asking the owner that the command line names.
_moxctl_words() {
    "$program" ${run_dir:+--run-dir "$run_dir"} words -- "$@" 2>/dev/null
}

# Prints what can stand for an argument or an option's value, by the name that the help gives it.
_moxctl_values() {
    case $1 in
        CLASS) _moxctl_words classes ;;
        OBJECT) _moxctl_words objects ;;
        PROPERTY) _moxctl_words properties ${object:+"$object"} ;;
        DIR) compgen -d -- "$current" ;;
    esac
}

# Takes a word before the one that is completed into account: sets verb, object, run_dir, the count
# of arguments, and wanted, which names the value that the next word has to be.
_moxctl_take() {
    local word=$1 line
    if [[ -n $wanted ]]; then
        [[ $option == --run-dir || $option == -r ]] && run_dir=$word
        [[ $wanted == OBJECT ]] && object=$word
        wanted=
    elif [[ $word == -- && -n $verb ]]; then
        ended=yes
    elif [[ $word == -* && -z $ended ]]; then
        option=${word%%=*}
        while read -r line; do
            [[ $line == "$option "* ]] && wanted=${line#* }
        done < <(_moxctl_words options ${verb:+"$verb"})
        [[ $word == *=* ]] && _moxctl_take "${word#*=}"
    elif [[ -z $verb ]]; then
        verb=$word
    else
        ((count == 0)) && object=$word
        count=$((count + 1))
    fi
}

# Prints what may stand in the place of the word that is completed.
_moxctl_offers() {
    if [[ -n $wanted ]]; then
        _moxctl_values "$wanted"
    elif [[ $current == -* && -z $ended ]]; then
        _moxctl_words options ${verb:+"$verb"} | cut -d ' ' -f 1
    elif [[ -z $verb ]]; then
        _moxctl_words verbs
    else
        local -a arguments
        read -ra arguments < <(_moxctl_words arguments "$verb")
        local argument=${arguments[count]}
        # The last one may stand for any number.
        if ((${#arguments[@]} > 0 && count >= ${#arguments[@]})); then
            argument=${arguments[-1]}
            [[ $argument == *... ]] || return
        fi
        argument=$(tr -d '[].' <<<"$argument")
        if [[ -n $ended ]]; then _moxctl_values "$argument"; else _moxctl_values "$argument" | grep -v '^-'; fi
    fi
}

_moxctl() {
    COMPREPLY=()
    local line=${COMP_LINE:0:COMP_POINT} word offer
    local current='' verb='' object='' run_dir='' option='' wanted='' ended=''
    local -i count=0
    local -a words
    # shellcheck disable=SC2162  # a backslash keeps a blank within its word
    read -a words <<<"$line"
    [[ $line == *[[:blank:]] && $line != *\\[[:blank:]] ]] || { current=${words[-1]} && unset 'words[-1]'; }
    local program=${words[0]}
    type -P -- "$program" >/dev/null || return 0
    for word in "${words[@]:1}"; do
        _moxctl_take "$word"
    done
    if [[ -z $wanted && $current == --*=* ]]; then
        _moxctl_take "${current%%=*}"
        current=${current#*=}
        [[ -n $wanted ]] || return 0
    fi
    while IFS= read -r offer; do
        [[ $offer == "$current"* ]] && COMPREPLY+=("$(printf %q "$offer")")
    done < <(_moxctl_offers)
    # The shell replaces what follows the last character that breaks words: what lies before it is
    # not repeated.
    local breaks=${COMP_WORDBREAKS//[^:=]/}
    [[ -n $breaks ]] || return 0
    local kept=${current%"${current##*["$breaks"]}"}
    [[ -z $kept ]] || kept=$(printf %q "$kept")
    COMPREPLY=("${COMPREPLY[@]#"$kept"}")
}

complete -F _moxctl moxctl
