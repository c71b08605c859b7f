# bash completion for tamselctl(1)

# The configurations below $1, in the directory $2: the names of the files without .json.
_tamselctl_names() {
    local file
    for file in "$1"etc/"$2"/*.json "$1"data/"$2"/*.json; do
        [[ -e $file ]] && file=${file##*/} && echo "${file%.json}"
    done
}

_tamselctl() {
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local root=/ directory=config i words=() arguments=()
    local commands=(get set restore erase list keys diff watch check recover export import)

    [[ $word != = ]] || word=
    [[ $previous != = ]] || previous=${COMP_WORDS[COMP_CWORD - 2]}
    case $previous in
        --root | --subdir) mapfile -t COMPREPLY < <(compgen -d -- "$word"); return ;;
        --schema | --files) mapfile -t COMPREPLY < <(compgen -f -- "$word"); return ;;
        --count | --timeout | --wait | --at | --default) return ;;
    esac
    # bash splits --root=DIR at the "=", which is then a word of its own.
    for ((i = 1; i < COMP_CWORD; ++i)); do
        [[ ${COMP_WORDS[i]} == = ]] || words+=("${COMP_WORDS[i]}")
    done
    for ((i = 0; i < ${#words[@]}; ++i)); do
        case ${words[i]} in
            --root) root=${words[++i]%/}/ ;;
            --subdir) directory=${words[++i]} ;;
            --count | --timeout | --wait | --at | --default | --schema | --files) ((++i)) ;;
            -*) ;;
            *) arguments+=("${words[i]}") ;;
        esac
    done

    local options=(--root --subdir --json --wait --help)
    case ${arguments[0]} in
        "") options+=(--version) ;;
        get) options+=(--string --default --at) ;;
        set) options+=(--string --at --create --force) ;;
        restore | erase) options+=(--force) ;;
        watch) options+=(--initial --count --timeout) ;;
        check) options+=(--files --schema) ;;
        export) options+=(--overlay) ;;
        import) options+=(--replace --create --force --schema) ;;
    esac
    local choices=() choice
    if [[ $word == -* ]]; then
        choices=("${options[@]}")
    elif ((${#arguments[@]} == 0)); then
        choices=("${commands[@]}")
    else
        case ${arguments[0]}:${#arguments[@]} in
            *:1 | check:* | recover:*)
                mapfile -t choices < <(_tamselctl_names "$root" "$directory")
                ;;
            get:* | set:*[02468] | restore:* | watch:*)
                mapfile -t choices < <(tamselctl --root "$root" --subdir "$directory" \
                    keys -- "${arguments[1]}" 2>/dev/null)
                ;;
            import:2) mapfile -t COMPREPLY < <(compgen -f -- "$word"); return ;;
        esac
    fi
    # Not by compgen -W, which would expand a key that looks like shell code.
    COMPREPLY=()
    for choice in "${choices[@]}"; do
        [[ $choice == "$word"* ]] && COMPREPLY+=("$(printf %q "$choice")")
    done
}

complete -F _tamselctl tamselctl
