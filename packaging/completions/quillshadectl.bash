# bash completion for quillshadectl

_quillshadectl() {
    local current=$2 previous=$3 command='' word
    local common='--data-dir --json --color --help'
    local bounds='--limit --since --until --app'
    COMPREPLY=()

    # "--color=al" arrives as three words.
    if [[ $current == '=' ]]; then
        current=''
    elif [[ $previous == '=' && $COMP_CWORD -ge 2 ]]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi

    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        case $word in
        search | recent | show | status | stats | ocr)
            command=$word
            break
            ;;
        esac
    done

    case $previous in
    --data-dir)
        mapfile -t COMPREPLY < <(compgen -d -- "$current")
        compopt -o filenames 2>/dev/null
        return
        ;;
    --color)
        mapfile -t COMPREPLY < <(compgen -W 'auto always never' -- "$current")
        return
        ;;
    --since | --until)
        mapfile -t COMPREPLY < <(compgen -W 'today yesterday 90m 24h 7d' -- "$current")
        return
        ;;
    --image)
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        compopt -o filenames 2>/dev/null
        return
        ;;
    --limit | --days | --app | --language | --region)
        return
        ;;
    esac

    local words
    case $command in
    '') words="search recent show status stats ocr --version $common" ;;
    search) words="--newest $bounds $common" ;;
    recent) words="$bounds $common" ;;
    show) words="--image $common" ;;
    stats) words="--days $common" ;;
    ocr) words="--language --region $common" ;;
    *) words=$common ;;
    esac
    if [[ $command = ocr && $current != -* ]]; then
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        compopt -o filenames 2>/dev/null
        return
    fi
    [[ -n $command && $current != -* ]] && return
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}

complete -F _quillshadectl quillshadectl
