# Completion of vordta for fish: the command says itself what may stand where the cursor is.

function __vordta_complete
    set -l words (commandline -opc) (commandline -ct)
    set -l word $words[-1]
    set -l answer ($words[1] complete (math (count $words) - 1) $words 2>/dev/null)
    set -l kinds (string split ' ' -- $answer[1])
    if test "$kinds[1]" != files
        printf '%s\n' $answer[2..-1]
        return
    end
    for path in (__fish_complete_path $word | string replace -r '\t.*' '')
        for extension in $kinds[2..-1]
            if test $extension = '*'; or string match -q -- '*/' $path; or string match -q -- "*.$extension" $path
                printf '%s\n' $path
                break
            end
        end
    end
end

complete -c vordta -f -a '(__vordta_complete)'
