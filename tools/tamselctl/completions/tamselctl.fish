# fish completion for tamselctl(1)

# Prints the value of the option $argv[1] on the command line, or else $argv[2].
function __tamselctl_option
    set -l words (commandline -opc)
    set -l at (contains -i -- $argv[1] $words)
    and echo $words[(math $at + 1)]
    or echo $argv[2]
end

# Prints the words behind the options: the command, the configuration, and what follows.
function __tamselctl_words
    set -l words (commandline -opc)[2..-1]
    while set -q words[1]
        switch $words[1]
            case --root --subdir --count --timeout
                set -e words[1]
            case '-*'
            case '*'
                echo -- $words[1]
        end
        set -e words[1]
    end
end

# Tells whether $argv[1] words stand before the cursor and the first is one of the others.
function __tamselctl_at
    set -l words (__tamselctl_words)
    test (count $words) -eq $argv[1]; and contains -- "$words[1]" $argv[2..-1]
end

function __tamselctl_takes
    set -l words (__tamselctl_words)
    contains -- "$words[1]" $argv
end

function __tamselctl_root
    string replace -r '/*$' / -- (__tamselctl_option --root /)
end

function __tamselctl_names
    set -l root (__tamselctl_root)
    set -l folder (__tamselctl_option --subdir config)
    for file in $root{etc,data}/$folder/*.json
        string replace -r '.*/(.*)\.json$' '$1' -- $file
    end
end

function __tamselctl_keys
    set -l words (__tamselctl_words)
    tamselctl --root (__tamselctl_root) --subdir (__tamselctl_option --subdir config) \
        keys -- $words[2] 2>/dev/null
end

set -l all get set restore erase list keys diff watch check export import

complete -c tamselctl -f
complete -c tamselctl -l root -xa '(__fish_complete_directories)' -d 'Where etc/ and data/ are'
complete -c tamselctl -l subdir -x -d 'Folder of the files in both'
complete -c tamselctl -l json -d 'Print one JSON object'
complete -c tamselctl -s h -l help -d 'Print a short help'
complete -c tamselctl -l version -d 'Print the version'
complete -c tamselctl -n '__tamselctl_takes get set' -l string -d 'The value is bare text'
complete -c tamselctl -n '__tamselctl_takes set erase import' -l force -d 'Accept another type'
complete -c tamselctl -n '__tamselctl_takes set import' -l verify -d 'Read the file back'
complete -c tamselctl -n '__tamselctl_takes export' -l overlay -d 'Print the changes alone'
complete -c tamselctl -n '__tamselctl_takes watch' -l count -x -d 'End after so many lines'
complete -c tamselctl -n '__tamselctl_takes watch' -l timeout -x -d 'End after so many seconds'

set -l none 'test (count (__tamselctl_words)) -eq 0'
complete -c tamselctl -n $none -a get -d 'Print the value of a key'
complete -c tamselctl -n $none -a set -d 'Change the value of a key'
complete -c tamselctl -n $none -a restore -d 'Undo the change of a key'
complete -c tamselctl -n $none -a erase -d 'Undo all changes'
complete -c tamselctl -n $none -a list -d 'Print every key with value, type and source'
complete -c tamselctl -n $none -a keys -d 'Print every key'
complete -c tamselctl -n $none -a diff -d 'Print what the overlay changes'
complete -c tamselctl -n $none -a watch -d 'Print each change of a key as it happens'
complete -c tamselctl -n $none -a check -d 'Look both files through for faults'
complete -c tamselctl -n $none -a export -d 'Print the whole configuration'
complete -c tamselctl -n $none -a import -d 'Change many keys by one write'

complete -c tamselctl -n "__tamselctl_at 1 $all" -a '(__tamselctl_names)'
complete -c tamselctl -n '__tamselctl_at 2 get set restore' -a '(__tamselctl_keys)'
complete -c tamselctl -n '__tamselctl_takes watch; and not __tamselctl_at 1 watch' \
    -a '(__tamselctl_keys)'
complete -c tamselctl -n '__tamselctl_at 2 import' -F
