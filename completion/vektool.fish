# Completion of vektool for fish. What there is to complete is read from the tool's own --help.

# The value that an option takes, as --help calls it: "DIR", "text|json"; nothing for flags.
function __vektool_value_of # <help lines...> <option>
    printf '%s\n' $argv[1..-2] | string match -rg -- '^ +(?:-h,)?'$argv[-1]' ([^ :]+)(?: .*)?$' |
        string replace -r '=.*' '' | string match -v REQUIRED | head -n 1
end

function __vektool_complete
    set -l words (commandline -opc)
    set -l current (commandline -ct)
    if test (count $words) -eq 1
        $words[1] --help 2>/dev/null |
            string replace -rf '^  ([a-z]+) +(\S.*)$' \$1\t\$2
        return
    end
    set -l help ($words[1] $words[2] --help 2>/dev/null)
    set -l value
    if string match -q -- '--*' $words[-1]
        set value (__vektool_value_of $help $words[-1])
    end
    if test -z "$value"
        if string match -q -- '-*' $current
            printf '%s\n' $help | string match -rg '^ +(?:-h,)?(--[a-z0-9-]+)'
            return
        end
        set value (printf '%s\n' $help | string match -rg '^  ([A-Z]+) .*' | head -n 1)
    end
    switch $value
        case '*|*'
            string split '|' $value | string match -rv '[A-Z]'
        case DIR OLD
            __fish_complete_directories $current ''
        case FILE PATH PAGES
            __fish_complete_path $current
        case '*'
            string match -r '^[a-z]+$' $value
    end
end

complete -c vektool -f -a '(__vektool_complete)'
