#compdef virtual-projector-report
# Completion of virtual-projector-report's command line for zsh: a file named _virtual-projector-report in a folder of
# $fpath.

_arguments \
  '(- *)'{-h,--help}'[print the options]' \
  '(- *)--version[print version and commit]' \
  {-o,--page=}'[write the page of the run]:file:_files' \
  '--data=[write the data of the page as JSON]:file:_files' \
  '--perfetto=[write the run for a viewer of threads]:file:_files' \
  '--csv=[write tables into this folder]:folder:_files -/' \
  '--title=[what the page and the story call the run]:text' \
  '--story[tell in words what happened]' \
  '--full[of the story everything]' \
  '--log[the log lines in their places of the story]' \
  '--diff=[compare with this trace]:trace:_files' \
  '--ignore=[kinds of records that may differ]:kinds:_values -s , kind version run call callback return state log event truth wear' \
  '--partial[take what there is of a trace that is cut]' \
  '1:trace:_files'
