# Completion of vantorel-sample for fish.

complete -c vantorel-sample -f -a '(__fish_complete_directories)'
complete -c vantorel-sample -s h -l help -d 'Print the help'
complete -c vantorel-sample -x -l generation -a '5 6 7 8 9 10 11 12' -d 'Whose library'
complete -c vantorel-sample -x -l assets -d 'How many photos and videos'
complete -c vantorel-sample -x -l seed -d 'A number that the library is drawn from'
complete -c vantorel-sample -x -l picture-width -d 'Width of the pictures in points'
complete -c vantorel-sample -l no-journals -d 'Without the change journals'
complete -c vantorel-sample -l no-log -d 'All changes merged into the database'
complete -c vantorel-sample -l hard-links -d 'Files share a few hundred contents'
complete -c vantorel-sample -l no-hard-links -d 'Every file of its own'
set -l kinds photo-pages detail-pages caption-pages album-pages keyword-pages person-pages face-pages resource-pages \
    entity-pages album-link-pages keyword-link-pages table-roots index-roots scattered-pages swapped-pages flipped-header \
    schema-page cut-database random-database empty-database damaged-log cut-log unreadable-log cut-journals \
    damaged-journals no-journals no-database refused-database refused-journals refused-originals
complete -c vantorel-sample -x -l damage -a "$kinds" -d 'What is wrong with the library'
