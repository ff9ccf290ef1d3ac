# Completion of nivra and nivra-worker for fish: put it into ~/.config/fish/completions, for each program under its name.
# Commands and options are those that --help tells.

function __nivra_commands
    set -l words (commandline -opc)
    $words[1] --help | string replace -rf '^  (\w+) +(.*)$' '$1\t$2'
end

function __nivra_options
    set -l words (commandline -opc)
    $words[1] $words[2] --help 2>/dev/null | string replace -rf '^  (?:-\w,)?(--[\w-]+)(?: \S+)*(?:  +(.*))?$' '$1\t$2'
end

function __nivra_is_option
    string match -q -- '-*' (commandline -ct)
end

# Whether the word is the value of one of these options.
function __nivra_follows
    contains -- (commandline -opc)[-1] $argv
end

complete -c nivra -c nivra-worker -n 'not __nivra_is_option; and test (count (commandline -opc)) -eq 1' -fa '(__nivra_commands)'
complete -c nivra -c nivra-worker -n __nivra_is_option -fa '(__nivra_options)'
complete -c nivra -c nivra-worker -n '__nivra_follows --from --truth-from' -fa 'jsonl motchallenge kitti csv'
complete -c nivra -c nivra-worker -n '__nivra_follows --from; and not contains -- eval (commandline -opc)' -fa 'coco yolo results'
complete -c nivra -c nivra-worker -n '__nivra_follows --to' -fa 'jsonl motchallenge'
complete -c nivra -c nivra-worker -n '__nivra_follows --to; and contains track (commandline -opc)' -fa 'kitti csv'
complete -c nivra -c nivra-worker -n '__nivra_follows --kind' -fa 'trajectories lives hota'
complete -c nivra -c nivra-worker -n '__nivra_follows --scores' -fa 'fraction percent auto'
complete -c nivra -c nivra-worker -n '__nivra_follows --stabilise' -fa 'auto off'
complete -c nivra -c nivra-worker -n '__nivra_follows --objective' -fa 'HOTA IDF1 MOTA HOTA,IDF1'
complete -c nivra -c nivra-worker -n '__nivra_follows --preset' -fa 'steady flickering'
complete -c nivra -c nivra-worker -n '__nivra_follows --report' -fa 'all confident settled'
complete -c nivra -c nivra-worker -n '__nivra_follows --boxes' -fa 'smoothed detected'
complete -c nivra -c nivra-worker -n '__nivra_follows --preprocess' -fa 'auto none mot17 mot20'
complete -c nivra -c nivra-worker -n '__nivra_follows --tracker; and not contains -- eval (commandline -opc)' -fa 'vanilla reid hybrid lowfps'
