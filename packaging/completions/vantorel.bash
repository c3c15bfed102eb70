# Completion of vantorel for bash.

_vantorel()
{
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]} command= i
    for ((i = 1; i < COMP_CWORD; i++)); do
        case ${COMP_WORDS[i]} in
            find | scan | compare | export | verify)
                command=${COMP_WORDS[i]}
                break
                ;;
        esac
    done
    case $prev in
        --album | --stall-limit) return ;;
    esac

    local flags="--help --json --progress --stall-limit"
    case $command in
        "") flags="--help --version" ;;
        find) flags+=" --only" ;;
        scan | compare) flags+=" --list" ;;
        export)
            flags+=" --dry-run --album --no-hidden --recently-deleted --no-smaller-copies --no-unfiled"
            flags+=" --no-recovered-files --outside-files --leftover-files --people-as-keywords"
            flags+=" --no-people-as-keywords"
            ;;
    esac
    if [[ $cur == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$flags" -- "$cur")
    elif [[ -z $command ]]; then
        mapfile -t COMPREPLY < <(compgen -W "find scan compare export verify" -- "$cur")
    else
        # Libraries, destinations and exports are folders.
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -d -- "$cur")
    fi
}

complete -F _vantorel vantorel
