# Completion of quillonctl for bash. The program itself knows what may come next.

_quillonctl() {
    local line word=${COMP_WORDS[COMP_CWORD]}
    # An equals sign is a word of its own here.
    [ "$word" != = ] || word=
    COMPREPLY=()
    while IFS= read -r line; do
        case $line in
            :file)
                compopt -o filenames
                mapfile -t COMPREPLY < <(compgen -f -- "$word")
                ;;
            :folder)
                compopt -o filenames
                mapfile -t COMPREPLY < <(compgen -d -- "$word")
                ;;
            *) COMPREPLY+=("${line%%$'\t'*}") ;;
        esac
    done < <("$1" complete -- "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)
}

complete -F _quillonctl quillonctl
