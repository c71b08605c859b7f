# bash completion for tamselctl(1)

# The configurations below $1, in the folder $2: the names of the files without .json.
_tamselctl_names() {
    local file
    for file in "$1"etc/"$2"/*.json "$1"data/"$2"/*.json; do
        [[ -e $file ]] && file=${file##*/} && echo "${file%.json}"
    done
}

_tamselctl() {
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local root=/ folder=config i words=()
    local commands=(get set restore erase list keys diff watch check export import)

    case $previous in
        --root | --subdir) mapfile -t COMPREPLY < <(compgen -d -- "$word"); return ;;
        --count | --timeout) return ;;
    esac
    for ((i = 1; i < COMP_CWORD; ++i)); do
        case ${COMP_WORDS[i]} in
            --root) root=${COMP_WORDS[++i]%/}/ ;;
            --subdir) folder=${COMP_WORDS[++i]} ;;
            --count | --timeout) ((++i)) ;;
            -*) ;;
            *) words+=("${COMP_WORDS[i]}") ;;
        esac
    done

    local options=(--root --subdir --json --help)
    case ${words[0]} in
        "") options+=(--version) ;;
        get) options+=(--string) ;;
        set) options+=(--string --force --verify) ;;
        erase) options+=(--force) ;;
        watch) options+=(--count --timeout) ;;
        export) options+=(--overlay) ;;
        import) options+=(--force --verify) ;;
    esac
    local choices=() choice
    if [[ $word == -* ]]; then
        choices=("${options[@]}")
    elif ((${#words[@]} == 0)); then
        choices=("${commands[@]}")
    elif ((${#words[@]} == 1)); then
        mapfile -t choices < <(_tamselctl_names "$root" "$folder")
    else
        case ${words[0]}:${#words[@]} in
            get:2 | set:2 | restore:2 | watch:*)
                mapfile -t choices < <(
                    tamselctl --root "$root" --subdir "$folder" keys -- "${words[1]}" 2>/dev/null)
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
