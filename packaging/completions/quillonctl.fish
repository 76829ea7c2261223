# Completion of quillonctl for fish. The program itself knows what may come next.

function __quillonctl_complete
    set -l words (commandline -opc)
    set -l current (commandline -ct)
    set -e words[1]
    for line in (command quillonctl complete -- $words "$current" 2>/dev/null)
        switch $line
            case ':file'
                __fish_complete_path "$current"
            case ':folder'
                __fish_complete_directories "$current"
            case '*'
                echo $line
        end
    end
end

complete -c quillonctl -f -a '(__quillonctl_complete)'
