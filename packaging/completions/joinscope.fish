# fish completion of joinscope, joincheck, velkd and joinscope-lab: what the programs say of themselves when TAB is typed.

function __joinscope_words
    set -l command (commandline -opc)[1]
    switch $argv[1]
        case options
            $command --help 2>/dev/null | string match -gra '(?:^|[ ,|[])(--[a-z][a-z-]*)' | sort -u
        case verbs
            $command --help 2>/dev/null | string match -gr '^  ([a-z][a-z-]+) ' | sort -u
        case modules
            $command --help 2>/dev/null | string match -gr '^ {23}([a-z]+): '
        case '*'
            $command $argv 2>/dev/null | string replace -r '^BROKEN ' '' | string replace -r '[: ].*' ''
    end
end

# Whether the word before is one of these.
function __joinscope_after
    contains -- (commandline -opc)[-1] $argv
end

for command in joinscope joincheck velkd joinscope-lab
    complete -c $command -f -n 'string match -q -- "-*" (commandline -ct)' -a '(__joinscope_words options)'
end
complete -c joinscope -n '__joinscope_after -y --sysinfo' -a '(__joinscope_words modules)'
complete -c joinscope -F -n '__joinscope_after -o --output -P --paths'
complete -c joincheck -n '__joinscope_after --only --skip --explain' -a '(__joinscope_words --list)'
complete -c joincheck -F -n '__joinscope_after --facts --save --password-file'
complete -c velkd -n '__joinscope_after velkd' -a '(__joinscope_words verbs)'
complete -c velkd -n '__joinscope_after proxy-credential' -a 'set clear'
complete -c joinscope-lab -n '__joinscope_after joinscope-lab' -a '(__joinscope_words verbs)'
complete -c joinscope-lab -n '__joinscope_after exec pid' -a 'dc1 host1 guest1'
complete -c joinscope-lab -n '__joinscope_after dc daemon' -a 'start stop'
complete -c joinscope-lab -n '__joinscope_after break remedy repair' -a '(__joinscope_words list)'
complete -c joinscope-lab -n '__joinscope_after scenario' -a '(__joinscope_words scenario)'
