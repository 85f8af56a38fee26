# Completion of vordta for bash: the command says itself what may stand where the cursor is.

_vordta() {
    local -a words=() answer kinds
    local i word prefix="" index=0
    COMPREPLY=()
    # bash makes words of their own of "=" and ":".
    for ((i = 0; i < ${#COMP_WORDS[@]}; ++i)); do
        word="${COMP_WORDS[i]//[\\\"\']/}"
        if ((i > 0)) && [[ ${COMP_WORDS[i]} == [=:] || ${COMP_WORDS[i - 1]} == [=:] ]]; then
            [ "$i" -ne "$COMP_CWORD" ] || prefix="${words[-1]}"
            words[-1]+="$word"
            [[ $i -ne $COMP_CWORD || $word != [=:] ]] || prefix="${words[-1]}"
        else
            words+=("${word/#\~\//$HOME/}")
        fi
        [ "$i" -ne "$COMP_CWORD" ] || index=$((${#words[@]} - 1))
    done
    word="${words[index]#"$prefix"}"
    mapfile -t answer < <("${words[0]}" complete "$index" "${words[@]}" 2>/dev/null)
    read -ra kinds <<<"${answer[0]}"
    if [ "${kinds[0]}" = files ]; then
        _vordta_files "${COMP_WORDS[COMP_CWORD]#[=:]}" "${kinds[@]:1}"
        return
    fi
    [ "${kinds[0]}" != list ] || compopt -o nospace 2>/dev/null # not there when a test calls
    for word in "${answer[@]:1}"; do
        printf -v word '%q' "${word#"$prefix"}"
        COMPREPLY+=("${word//\\,/,}")
    done
}

# WORD EXTENSION...: the folders, and the files with one of these extensions ("*": all files).
_vordta_files() {
    local word="$1" extension pattern
    shift
    [ $# -gt 0 ] || return 0
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(
        compgen -d -- "$word"
        for extension in "$@"; do
            pattern="*.$extension"
            [ "$extension" != "*" ] || pattern="*"
            compgen -f -X "!$pattern" -- "$word" | while IFS= read -r name; do
                [ -d "$name" ] || printf '%s\n' "$name"
            done
        done
    )
}
complete -F _vordta vordta
