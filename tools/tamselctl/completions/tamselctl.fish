# fish completion for tamselctl(1)

# Prints the value of the option $argv[1] on the command line, or else $argv[2].
function __tamselctl_option
    set -l words (commandline -opc)
    set -l joined (string replace -fr -- "^$argv[1]=" '' $words)
    if set -q joined[1]
        echo $joined[-1]
    else if set -l at (contains -i -- $argv[1] $words)
        echo $words[(math $at + 1)]
    else
        echo $argv[2]
    end
end

# Prints the words without options: the command, the configuration, and so on.
function __tamselctl_words
    set -l words (commandline -opc)[2..-1]
    while set -q words[1]
        switch $words[1]
            case --root --subdir --count --timeout --wait --at --default --schema --files
                set -e words[1]
            case '-*'
            case '*'
                echo -- $words[1]
        end
        set -e words[1]
    end
end

# Returns true if there are $argv[1] words before the cursor and the first is one of the others.
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
    set -l directory (__tamselctl_option --subdir config)
    for file in $root{etc,data}/$directory/*.json
        string replace -r '.*/(.*)\.json$' '$1' -- $file
    end
end

function __tamselctl_keys
    set -l words (__tamselctl_words)
    tamselctl --root (__tamselctl_root) --subdir (__tamselctl_option --subdir config) \
        keys -- $words[2] 2>/dev/null
end

set -l all get set restore erase list keys diff watch check recover export import

complete -c tamselctl -f
complete -c tamselctl -l root -xa '(__fish_complete_directories)' -d 'Prefix of etc/ and data/'
complete -c tamselctl -l subdir -x -d 'Directory in etc/ and data/'
complete -c tamselctl -l json -d 'Print JSON, for programs'
complete -c tamselctl -l wait -x -d 'Wait at most this long for a lock'
complete -c tamselctl -s h -l help -d 'Print a short help'
complete -c tamselctl -l version -d 'Print the version'

# Adds an option to the commands $argv[1]; the rest is for complete.
function __tamselctl_add
    complete -c tamselctl -n "__tamselctl_takes $argv[1]" $argv[2..-1]
end
__tamselctl_add 'get set' -l string -d 'Values are text, not JSON'
__tamselctl_add 'get set' -l at -x -d 'A part of the value, by JSON Pointer'
__tamselctl_add get -l default -x -d 'Print this for an absent key'
__tamselctl_add 'set import' -l create -d 'Accept a name that has no file yet'
__tamselctl_add 'set restore erase import' -l force -d 'Accept another type, or altered values'
__tamselctl_add import -l replace -d 'Replace the whole overlay'
__tamselctl_add 'check import' -l schema -rF -d 'Require that values conform to a JSON Schema'
__tamselctl_add check -l files -rF -d 'Check files at these paths instead'
__tamselctl_add export -l overlay -d 'Print only the changes'
__tamselctl_add watch -l initial -d 'Print the present values first'
__tamselctl_add watch -l count -x -d 'End after so many changes'
__tamselctl_add watch -l timeout -x -d 'End after so long'

set -l none 'test (count (__tamselctl_words)) -eq 0'
complete -c tamselctl -n $none -a get -d 'Print the value of a key'
complete -c tamselctl -n $none -a set -d 'Change the value of a key'
complete -c tamselctl -n $none -a restore -d 'Undo the change of a key'
complete -c tamselctl -n $none -a erase -d 'Undo all changes'
complete -c tamselctl -n $none -a list -d 'Print every key with value, type and source'
complete -c tamselctl -n $none -a keys -d 'Print every key'
complete -c tamselctl -n $none -a diff -d 'Print the keys that the overlay changes'
complete -c tamselctl -n $none -a watch -d 'Print each change of a key'
complete -c tamselctl -n $none -a check -d 'Look for faults in the files'
complete -c tamselctl -n $none -a recover -d 'Complete interrupted changes'
complete -c tamselctl -n $none -a export -d 'Print the whole configuration'
complete -c tamselctl -n $none -a import -d 'Change many keys in one write'

complete -c tamselctl -n "__tamselctl_at 1 $all" -a '(__tamselctl_names)'
complete -c tamselctl -n '__tamselctl_takes check recover' -a '(__tamselctl_names)'
complete -c tamselctl -n '__tamselctl_takes get set restore watch' \
    -n 'test (count (__tamselctl_words)) -gt 1' -a '(__tamselctl_keys)'
complete -c tamselctl -n '__tamselctl_at 2 import' -F
