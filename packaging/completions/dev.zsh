#compdef dev
# Completion of ./dev for zsh: . packaging/completions/dev.zsh, after compinit.

_ovrafocus_dev_stories() {
  local folder=${words[1]:h}/scenarios
  local -a names
  names=(list $folder/*.json(N:t:r) $folder/*(N/:t))
  _describe story names
}

_ovrafocus_dev_commands() {
  local -a commands
  commands=(
    'demo:show a story on the virtual projector'
    'live:a page on which people have a hand in a run'
    'test:build and run all tests'
    'build:build everything'
    'mipsel:build and test for the board'\''s processor'
    'budgets:what the library takes'
    'package:make the Debian packages'
    'bench:time it'
    'check:formatting, include rules, clang-tidy, cppcheck'
    'coverage:coverage of the library by the tests'
    'docs:the HTML reference'
    'pages:every story as a page, with pictures'
    'clean:remove every build folder'
    'help:list the commands'
  )
  _describe command commands
}

_ovrafocus_dev() {
  local help='(- *)--help[tell more of this command]'
  if ((CURRENT == 2)); then
    _arguments '(- *)--help[list the commands]' '(- *)--version[print version and commit]' \
      '1:command:_ovrafocus_dev_commands'
    return
  fi
  local folder=${words[1]}
  case ${words[2]} in
    demo)
      shift words; ((--CURRENT)); words[1]=$folder
      _arguments $help '--seed[another seed]:number' '*--set[another parameter]:parameter' \
        '1:story:_ovrafocus_dev_stories' ;;
    live)
      shift words; ((--CURRENT)); words[1]=$folder
      _arguments $help '--port[the page'\''s port]:number' '1:story:_ovrafocus_dev_stories' ;;
    test) _arguments $help '(--tsan)--asan[under AddressSanitizer]' '(--asan)--tsan[under ThreadSanitizer]' ;;
    mipsel) _arguments $help '(--size)--traces[compare every story]' '(--traces)--size[sections and symbols]' ;;
    budgets) _arguments $help '--mipsel[on the board'\''s build]' ;;
    package) _arguments $help '--mipsel[for the board'\''s processor]' '--twice[make them again elsewhere and compare]' ;;
    bench) _arguments $help '1:part:((method\:"how good its pictures are" stories\:"every story in the living room"))' ;;
    pages) _arguments $help '--documents[the pictures of README.md and docs/]' ;;
    help) _ovrafocus_dev_commands ;;
    *) _arguments $help ;;
  esac
}

# Found in a folder of $fpath it is the completion itself; sourced, it is registered.
if [[ ${funcstack[1]} == _dev ]]; then
  _ovrafocus_dev "$@"
else
  compdef _ovrafocus_dev dev ./dev
fi
