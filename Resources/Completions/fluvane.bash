# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

# Completions of bash for fluvane and fluvane-watch.

# The numbers of all downloads, a line each: `fluvane list` writes every value on a line of its own.
_fluvane_numbers() {
    fluvane list 2>/dev/null | sed -n 's/^    "id": \([0-9]*\),*$/\1/p'
}

_fluvane_words() {
    mapfile -t COMPREPLY < <(compgen -W "$1" -- "$2")
}

# Files, or with -d folders, with what is special in their names kept from the shell.
_fluvane_files() {
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen "$1" -- "$2")
}

_fluvane() {
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command=${COMP_WORDS[1],,}
    COMPREPLY=()
    if ((COMP_CWORD == 1)); then
        if [[ $word == -* ]]; then
            _fluvane_words "--headless --open --background" "$word"
        else
            _fluvane_words "add list pause resume remove next prioritize link checksum limit show settings welcome
                whats-new crash-note help log diagnostics state snapshot update export import" "$word"
        fi
        return
    fi
    case $command in
    add)
        case $previous in
        --to) _fluvane_files -d "$word" ;;
        --checksum) ;;
        *) if [[ $word == -* ]]; then
            _fluvane_words "--to --checksum" "$word"
        else
            _fluvane_files -f "$word"
        fi ;;
        esac
        return
        ;;
    --open)
        _fluvane_files -f "$word"
        return
        ;;
    esac
    case $command:$COMP_CWORD in
    pause:2 | resume:2) _fluvane_words "all $(_fluvane_numbers)" "$word" ;;
    remove:2 | next:2 | prioritize:2 | link:2 | checksum:2 | show:2) _fluvane_words "$(_fluvane_numbers)" "$word" ;;
    prioritize:3 | limit:2) _fluvane_words off "$word" ;;
    checksum:3) _fluvane_words none "$word" ;;
    settings:2) _fluvane_words "general files rules connections about" "$word" ;;
    export:2 | import:2) _fluvane_files -f "$word" ;;
    snapshot:2) _fluvane_files -d "$word" ;;
    esac
}

_fluvane_watch() {
    local word=${COMP_WORDS[COMP_CWORD]}
    if [[ $word == -* ]]; then
        _fluvane_words --help "$word"
    else
        _fluvane_words "$(_fluvane_numbers)" "$word"
    fi
}

complete -F _fluvane fluvane
complete -F _fluvane_watch fluvane-watch
