# Completion of vordta for bash: sub-commands, options, their values, and files of the kinds that each place takes.

# Options of each sub-command; "common" belongs to all of them.
declare -gA _vordta_options=(
    [common]="--session-encoding --quiet --log --progress --help"
    [import]="--contract --no-unpack-limit --strict --threads --compression-level --validvarname --encoding --value-labels --labels --raw --replace --keep --drop --rows --limit --schema --fmtlib --libname"
    [export]="--contract --no-unpack-limit --strict --threads --compression-level --types --na --separator --encoding --schema --labels-as-names --fmtlib --libname"
    [describe]="--contract --no-unpack-limit --validvarname --encoding --json"
    [head]="--contract --no-unpack-limit --validvarname --encoding --keep --drop --rows --limit --labels"
    [formats]="--json"
)
# What stands behind an option: words, files of an extension, any file, or something that cannot be guessed.
_vordta_encodings="utf-8 wlatin1 latin1 us-ascii windows-1250 windows-1251 shift-jis euc-kr gb18030"
declare -gA _vordta_values=(
    [--session-encoding]="words $_vordta_encodings"
    [--encoding]="words $_vordta_encodings"
    [--log]="files *"
    [--progress]="words auto on off"
    [--contract]="words base extended"
    [--types]="words kept smallest double"
    [--na]="none"
    [--separator]="none"
    [--validvarname]="words v7 any"
    [--value-labels]="words on off"
    [--labels]="words codes text both"
    [--keep]="none"
    [--drop]="none"
    [--rows]="none"
    [--limit]="none"
    [-n]="none"
    [--schema]="files json"
    [--fmtlib]="none"
    [--libname]="none"
)
# Extensions of the files at each place after a sub-command; the last place of an import may come again.
_vordta_stata="dta dta.gz dta.bz2 dta.xz dta.zst dta.zip"
_vordta_tables="csv csv.gz csv.bz2 csv.xz csv.zst csv.zip tsv tsv.gz tsv.bz2 tsv.xz tsv.zst tsv.zip parquet db sqlite"
declare -gA _vordta_places=(
    [import]="$_vordta_stata|$_vordta_tables $_vordta_stata"
    [export]="$_vordta_tables|$_vordta_stata"
    [describe]="$_vordta_stata db sqlite"
    [head]="$_vordta_stata db sqlite"
    [formats]="db sqlite"
)

# WORD EXTENSION...: the folders, and the files with one of these extensions ("*": all files).
_vordta_files() {
    local word="$1" extension pattern
    shift
    compopt -o filenames 2>/dev/null # not there when a test calls
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

_vordta_words() { # WORD CHOICE...
    local word="$1"
    shift
    mapfile -t COMPREPLY < <(compgen -W "$*" -- "$word")
}

_vordta_value() { # OPTION WORD
    local -a value
    read -ra value <<<"${_vordta_values[$1]}"
    case "${value[0]}" in
        words) _vordta_words "$2" "${value[@]:1}" ;;
        files) _vordta_files "$2" "${value[@]:1}" ;;
    esac
}

_vordta() {
    local word="${COMP_WORDS[COMP_CWORD]}" before="${COMP_WORDS[COMP_CWORD - 1]}" command="" place=0 i
    COMPREPLY=()
    # bash makes "=" a word of its own.
    [ "$word" = "=" ] && word="" && before="="
    [ "$before" = "=" ] && before="${COMP_WORDS[COMP_CWORD - 2]}"
    for ((i = 1; i < COMP_CWORD; ++i)); do
        case "${COMP_WORDS[i]}" in
            -?*)
                if [ -n "${_vordta_values[${COMP_WORDS[i]}]}" ]; then
                    ((++i))
                    [ "${COMP_WORDS[i]}" != "=" ] || ((++i))
                fi
                ;;
            *) if [ -z "$command" ]; then command="${COMP_WORDS[i]}"; else ((++place)); fi ;;
        esac
    done
    if [ -n "${_vordta_values[$before]}" ]; then
        _vordta_value "$before" "$word"
    elif [ -z "$command" ]; then
        _vordta_words "$word" import export describe head formats --help --version
    elif [[ $word == -* ]]; then
        _vordta_words "$word" "${_vordta_options[$command]} ${_vordta_options[common]}"
    else
        local -a places extensions
        IFS='|' read -ra places <<<"${_vordta_places[$command]}"
        [ "$command" != import ] || [ "$place" -lt "${#places[@]}" ] || place=$((${#places[@]} - 1))
        read -ra extensions <<<"${places[place]}"
        [ "${#extensions[@]}" -eq 0 ] || _vordta_files "$word" "${extensions[@]}"
    fi
}
complete -F _vordta vordta
