# fish completion for quillshadectl

set -l commands search recent show status stats ocr
set -l none "not __fish_seen_subcommand_from $commands"
set -l listing "__fish_seen_subcommand_from search recent"

complete -c quillshadectl -f
complete -c quillshadectl -n $none -a search -d 'Find what was on the screen'
complete -c quillshadectl -n $none -a recent -d 'List what was seen last, newest first'
complete -c quillshadectl -n $none -a show -d 'Print all that is known about one frame'
complete -c quillshadectl -n $none -a status -d 'Tell whether Quillshade runs, and what it does'
complete -c quillshadectl -n $none -a stats -d 'Print daily counters and disk use'
complete -c quillshadectl -n $none -a ocr -d 'Read the text in a picture'
complete -c quillshadectl -n $none -l version -d 'Print the version'

complete -c quillshadectl -s h -l help -d 'Print help'
complete -c quillshadectl -l data-dir -x -a '(__fish_complete_directories)' -d 'Folder of the memory'
complete -c quillshadectl -l json -d 'Print JSON'
complete -c quillshadectl -l color -x -a 'auto always never' -d 'Mark matches by colour'

complete -c quillshadectl -n $listing -l limit -x -d 'At most so many'
complete -c quillshadectl -n $listing -l since -x -a 'today yesterday 90m 24h 7d' -d 'Not before then'
complete -c quillshadectl -n $listing -l until -x -a 'today yesterday 90m 24h 7d' -d 'Not after then'
complete -c quillshadectl -n $listing -l app -x -d 'Only this application'
complete -c quillshadectl -n '__fish_seen_subcommand_from search' -l newest -d 'Order by time'
complete -c quillshadectl -n '__fish_seen_subcommand_from show' -l image -r -F -d 'Write the picture to this PNG file'
complete -c quillshadectl -n '__fish_seen_subcommand_from stats' -l days -x -d 'So many days'
complete -c quillshadectl -n '__fish_seen_subcommand_from ocr' -F
complete -c quillshadectl -n '__fish_seen_subcommand_from ocr' -l language -x -d 'Its language'
complete -c quillshadectl -n '__fish_seen_subcommand_from ocr' -l region -x -d 'Only this part: X,Y,WIDTH,HEIGHT'
