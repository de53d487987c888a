# bash completion for ravelod and the tools beside it.

_ravelod() {
    local cur=${COMP_WORDS[COMP_CWORD]} word=${COMP_WORDS[1]-}
    COMPREPLY=()
    case $COMP_CWORD,${word,,} in
        1,*) mapfile -t COMPREPLY < <(compgen -W 'start stop validate' -- "$cur") ;;
        2,*)
            # The databases that have a rule file; the folder may be closed to the user.
            mapfile -t COMPREPLY < <(
                cd "${RAVELO_RULES:-/etc/ravelo}" 2>/dev/null || exit
                for file in *.cfg; do
                    [[ ! -e $file || ${file,,} != "${cur,,}"* ]] || printf '%s\n' "${file%.cfg}"
                done
            )
            ;;
        3,start | 3,stop) mapfile -t COMPREPLY < <(compgen -W 0 -- "$cur") ;;
        3,validate | 4,start | 5,start)
            mapfile -t COMPREPLY < <(compgen -f -- "$cur")
            compopt -o filenames 2>/dev/null
            ;;
    esac
}
complete -F _ravelod ravelod

# The tools list their options themselves.
_ravelo_tool() {
    local cur=${COMP_WORDS[COMP_CWORD]}
    if [[ $cur == -* ]]; then
        mapfile -t COMPREPLY < <(
            compgen -W "$("$1" --help 2>/dev/null | grep -oE -- '--[a-z][a-z-]*' | sort -u)" -- "$cur"
        )
    else
        mapfile -t COMPREPLY < <(compgen -f -- "$cur")
        compopt -o filenames 2>/dev/null
    fi
}
complete -F _ravelo_tool ravelo-record ravelo-replay ravelo-log
