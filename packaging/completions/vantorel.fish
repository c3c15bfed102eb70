# Completion of vantorel for fish. Libraries, destinations and exports are folders.

complete -c vantorel -f
complete -c vantorel -s h -l help -d 'Print the help'
complete -c vantorel -n __fish_use_subcommand -l version -d 'Print the version'

complete -c vantorel -n __fish_use_subcommand -a find -d 'List the libraries on disks and in backups'
complete -c vantorel -n __fish_use_subcommand -a scan -d 'Read a library and check its original files'
complete -c vantorel -n __fish_use_subcommand -a compare -d 'Tell what a library has that another one has not'
complete -c vantorel -n __fish_use_subcommand -a export -d 'Save the original files in folders named after the albums'
complete -c vantorel -n __fish_use_subcommand -a verify -d 'Check an export against the digests in its report'

set -l every '__fish_seen_subcommand_from find scan compare export verify'
complete -c vantorel -n $every -a '(__fish_complete_directories)'
complete -c vantorel -n $every -l json -d 'Print one JSON object instead of a summary'
complete -c vantorel -n $every -l progress -d 'Show progress also where standard error is no terminal'
complete -c vantorel -n $every -x -l stall-limit -d 'Seconds of silence after which a disk is given up'

complete -c vantorel -n '__fish_seen_subcommand_from find' -l only -d 'Search nowhere else than in the folders given'

complete -c vantorel -n '__fish_seen_subcommand_from scan' -l list -d 'Also name every item that is missing or limited'

complete -c vantorel -n '__fish_seen_subcommand_from compare' -l list -d 'Also name every entry of a long list'

set -l export '__fish_seen_subcommand_from export'
complete -c vantorel -n $export -l dry-run -d 'Only say what would be saved'
complete -c vantorel -n $export -x -l album -d 'Only this album, by title or identifier'
complete -c vantorel -n $export -l no-hidden -d 'Leave out hidden photos'
complete -c vantorel -n $export -l recently-deleted -d 'Also save Recently Deleted'
complete -c vantorel -n $export -l no-smaller-copies -d 'Leave out smaller copies where the original is not here'
complete -c vantorel -n $export -l no-unfiled -d 'Leave out photos in no album'
complete -c vantorel -n $export -l no-recovered-files -d 'Leave out files that lost their record'
complete -c vantorel -n $export -l outside-files -d 'Also save files that the library only points at'
complete -c vantorel -n $export -l leftover-files -d 'Also save files that belong to no photo'
complete -c vantorel -n $export -l people-as-keywords -d 'Also put People names in the keywords'
complete -c vantorel -n $export -l no-people-as-keywords -d 'Keep People names out of the keywords'
