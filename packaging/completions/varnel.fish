# Completion of varnel for fish.

# Whether the command is one of those named; without names, whether there is none yet.
function __varnel_command
    set -l words (commandline -opc)
    if test (count $argv) -eq 0
        test (count $words) -eq 1
    else
        contains -- "$words[2]" $argv
    end
end

# Comma-separated lists of rules: what stands before the last comma is kept.
function __varnel_rules
    set -l given (commandline -ct | string replace -r -- '^--[a-z]+=' '' | string match -r '^.*,')
    set -l program (commandline -opc)[1]
    for line in ($program rules 2>/dev/null)
        test -n "$line"; or break
        # The identifier, the label, further columns.
        set -l columns (string split -n '  ' -- $line)
        printf '%s%s\t%s\n' "$given" $columns[1] (string trim -- $columns[2])
    end
end

complete -c varnel -f
complete -c varnel -s h -l help -d 'Print this help message and exit'
complete -c varnel -n __varnel_command -l version -d 'Print the version'

for condition in __varnel_command '__varnel_command help'
    complete -c varnel -n $condition -a scan -d 'Show what would be removed; delete nothing'
    complete -c varnel -n $condition -a clean -d 'Scan, show, ask, delete'
    complete -c varnel -n $condition -a sweep -d 'Clean every volume that is not Mac-formatted, with the live rules'
    complete -c varnel -n $condition -a watch -d 'Remove litter as it appears, until Ctrl-C; without PATH on every volume that is not Mac-formatted'
    complete -c varnel -n $condition -a eject -d 'Eject the volume that holds PATH'
    complete -c varnel -n $condition -a rules -d 'Print the rules and the protected file types'
    complete -c varnel -n $condition -a volumes -d 'List the mounted volumes; those to clean are marked'
    complete -c varnel -n $condition -a log -d 'Print the path of the activity log, or its lines'
    complete -c varnel -n $condition -a help -d 'Explain a command'
end

complete -c varnel -n '__varnel_command scan clean sweep' -l json -d 'Print one JSON object per PATH'
complete -c varnel -n '__varnel_command scan clean sweep' -l samples -x -d 'How many items to list; 0 lists none'
complete -c varnel -n '__varnel_command scan clean sweep' -l only -x -a '(__varnel_rules)' -d 'Only these rules'
complete -c varnel -n '__varnel_command scan clean sweep' -l except -x -a '(__varnel_rules)' -d 'All rules but these'
complete -c varnel -n '__varnel_command scan clean' -l live -d 'Only the rules that the live watcher applies'
complete -c varnel -n '__varnel_command clean sweep' -l yes -d 'Do not ask'
complete -c varnel -n '__varnel_command clean sweep' -l dry-run -d 'Do everything but delete'
complete -c varnel -n '__varnel_command clean' -l mac-format -d 'Also clean Mac-formatted volumes'
complete -c varnel -n '__varnel_command clean sweep' -l allow-live-forks -d 'Also clean shares whose file server keeps live data in ._ files'
complete -c varnel -n '__varnel_command clean' -l force-system-volume-information -d 'Also remove a System Volume Information folder that holds data or keys'
complete -c varnel -n '__varnel_command clean' -l eject -d 'Eject the volumes afterwards'

complete -c varnel -n '__varnel_command watch' -l sweep-first -d 'Remove what is there already'
complete -c varnel -n '__varnel_command watch' -l sweep-every -x -d 'Sweep again and again, for shares that report no changes'
complete -c varnel -n '__varnel_command watch' -l allow-live-forks -d 'Also watch shares whose file server keeps live data in ._ files'

complete -c varnel -n '__varnel_command rules' -l json -d 'Print JSON'
complete -c varnel -n '__varnel_command volumes' -l json -d 'Print one JSON object per volume'
complete -c varnel -n '__varnel_command log' -s n -l lines -x -d 'Print the last N lines'
complete -c varnel -n '__varnel_command log' -s f -l follow -d 'Go on printing lines as they are written'

complete -c varnel -n '__varnel_command scan clean watch' -a '(__fish_complete_directories)'
complete -c varnel -n '__varnel_command eject' -F
