# Completion of ./dev for fish: source packaging/completions/dev.fish

function __ovrafocus_dev_stories
    set -l folder (dirname (commandline -opc)[1])/scenarios
    echo list
    for file in $folder/*.json
        basename $file .json
    end
    for story in $folder/*/
        basename $story
    end
end

set -l commands demo live test build mipsel budgets package bench check coverage docs pages clean help
complete -c dev -f
complete -c dev -l help -d 'Tell more of this command'
complete -c dev -n "not __fish_seen_subcommand_from $commands" -l version -d 'Print version and commit'
complete -c dev -n "not __fish_seen_subcommand_from $commands" -a demo -d 'Show a story on the virtual projector'
complete -c dev -n "not __fish_seen_subcommand_from $commands" -a live -d 'A page on which people have a hand in a run'
complete -c dev -n "not __fish_seen_subcommand_from $commands" -a test -d 'Build and run all tests'
complete -c dev -n "not __fish_seen_subcommand_from $commands" -a build -d 'Build everything'
complete -c dev -n "not __fish_seen_subcommand_from $commands" -a mipsel -d 'Build and test for the board\'s processor'
complete -c dev -n "not __fish_seen_subcommand_from $commands" -a budgets -d 'What the library takes'
complete -c dev -n "not __fish_seen_subcommand_from $commands" -a package -d 'Make the Debian packages'
complete -c dev -n "not __fish_seen_subcommand_from $commands" -a bench -d 'Time it'
complete -c dev -n "not __fish_seen_subcommand_from $commands" -a check -d 'Formatting, include rules, clang-tidy, cppcheck'
complete -c dev -n "not __fish_seen_subcommand_from $commands" -a coverage -d 'Coverage of the library by the tests'
complete -c dev -n "not __fish_seen_subcommand_from $commands" -a docs -d 'The HTML reference'
complete -c dev -n "not __fish_seen_subcommand_from $commands" -a pages -d 'Every story as a page, with pictures'
complete -c dev -n "not __fish_seen_subcommand_from $commands" -a clean -d 'Remove every build folder'
complete -c dev -n "not __fish_seen_subcommand_from $commands" -a help -d 'List the commands'
complete -c dev -n '__fish_seen_subcommand_from help' -a "$commands"
complete -c dev -n '__fish_seen_subcommand_from demo' -a '(__ovrafocus_dev_stories)'
complete -c dev -n '__fish_seen_subcommand_from live' -a '(__ovrafocus_dev_stories)'
complete -c dev -n '__fish_seen_subcommand_from live' -l port -x -d 'The page\'s port'
complete -c dev -n '__fish_seen_subcommand_from demo' -l seed -x -d 'Another seed'
complete -c dev -n '__fish_seen_subcommand_from demo' -l set -x -d 'Another parameter'
complete -c dev -n '__fish_seen_subcommand_from pages' -l documents -d 'The pictures of README.md and docs/'
complete -c dev -n '__fish_seen_subcommand_from test' -l asan -d 'Under AddressSanitizer'
complete -c dev -n '__fish_seen_subcommand_from test' -l tsan -d 'Under ThreadSanitizer'
complete -c dev -n '__fish_seen_subcommand_from mipsel' -l traces -d 'Compare every story'
complete -c dev -n '__fish_seen_subcommand_from mipsel' -l size -d 'Sections and symbols'
complete -c dev -n '__fish_seen_subcommand_from budgets' -l mipsel -d 'On the board\'s build'
complete -c dev -n '__fish_seen_subcommand_from package' -l mipsel -d 'For the board\'s processor'
complete -c dev -n '__fish_seen_subcommand_from package' -l twice -d 'Make them again elsewhere and compare'
complete -c dev -n '__fish_seen_subcommand_from bench' -a method -d 'How good its pictures are'
complete -c dev -n '__fish_seen_subcommand_from bench' -a stories -d 'Every story in the living room'
