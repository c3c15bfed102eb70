# Completion of vantorel-sample for bash.

_vantorel_sample()
{
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
    case $prev in
        --generation)
            mapfile -t COMPREPLY < <(compgen -W "5 6 7 8 9 10 11 12" -- "$cur")
            return
            ;;
        --damage)
            local kinds="photo-pages detail-pages caption-pages album-pages keyword-pages person-pages face-pages
                resource-pages entity-pages album-link-pages keyword-link-pages table-roots index-roots
                scattered-pages swapped-pages flipped-header schema-page cut-database random-database
                empty-database damaged-log cut-log unreadable-log cut-journals damaged-journals no-journals
                no-database refused-database refused-journals refused-originals"
            mapfile -t COMPREPLY < <(compgen -W "$kinds" -- "$cur")
            return
            ;;
        --assets | --seed | --picture-width) return ;;
    esac
    if [[ $cur == -* ]]; then
        local flags="--help --generation --assets --seed --picture-width --no-journals --no-log --hard-links
            --no-hard-links --damage"
        mapfile -t COMPREPLY < <(compgen -W "$flags" -- "$cur")
    else
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -d -- "$cur")
    fi
}

complete -F _vantorel_sample vantorel-sample
