# Completion of nivra and nivra-worker for bash: source this file, or put it where the package bash-completion looks for it.

_nivra() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} command='' options='' values='' files=''
  local redis='--redis --password-file --name --shards' input='--from --label --category --scores --picture --fps --output --force'
  ((COMP_CWORD == 1)) || command=${COMP_WORDS[1]}
  # --option=value comes as three words.
  [[ $word != = ]] || word=
  [[ $before != = ]] || before=${COMP_WORDS[COMP_CWORD - 2]}
  COMPREPLY=()

  case $command in
    '') options='--version' values='track convert eval explain tune replay plot simulate params' ;;
    track)
      options="$input --to --tracker --preset --params --param --associate --labels --stabilise"
      options+=' --report --hold --fill --boxes --delay --events --zones --every --idle-timeout --max-detections --debug --strict'
      options+=' --state --state-every --verbose --quiet' files=yes ;;
    convert) options="$input --to" files=yes ;;
    eval)
      options='--output --force --json --csv --tracker --preprocess --class --sequences --from --truth-from --picture --fps'
      options+=' --jobs' files=yes ;;
    explain)
      options="$input --id --frame --worst --truth --preprocess --camera --json --tracker --preset --params --param"
      options+=' --associate --labels --stabilise --report --hold --boxes --max-detections' files=yes ;;
    replay | plot)
      options="$input --tracker --preset --params --param --associate --labels --stabilise --max-detections --report --hold --boxes --beside --tracks --truth"
      options+=' --truth-from --preprocess' files=yes
      if [[ $command == replay ]]; then options+=' --zones --no-reasons --pictures --video --embed'; else options+=' --kind --camera'; fi ;;
    tune)
      options="$input --truth --truth-from --preprocess --tracker --preset --params --param --vary --objective --evaluations"
      options+=' --folds --least-gain --seed --associate --labels --stabilise --max-detections --report --hold --boxes'
      options+=' --jobs --quiet' files=yes ;;
    simulate)
      options='--output --force --to --seed --frames --people --vehicles --reentries --pan --drop --feature-length'
      options+=' --picture --fps' ;;
    params) options='--tracker --preset --markdown --json' ;;
    run)
      options="$redis --tracker --preset --params --param --associate --labels --stabilise --max-detections --report --hold"
      options+=' --boxes --debug --label --scores --picture --fps --batch --state-every --lease --most-unread --metrics' ;;
    feed) options="$redis --source --most-waiting" files=yes ;;
    drain) options="$redis --follow" ;;
    *) return ;;
  esac
  [[ $command || ${COMP_WORDS[0]} != *nivra-worker ]] || values='run feed drain'
  options+=' --help'
  case $before in
    -o | --output | --params | --truth | --pictures | --video | --zones | --state | --password-file | --metrics)
      options='' files=yes ;;
    --kind) options='' values='trajectories lives hota' files='' ;;
    --from | --truth-from)
      options='' values='jsonl motchallenge kitti csv' files=''
      [[ $command == eval || $before == --truth-from ]] || values+=' coco yolo results'
      ;;
    --objective) options='' values='HOTA IDF1 MOTA HOTA,IDF1' files='' ;;
    --vary | --evaluations | --folds | --least-gain) return ;;
    --to)
      options='' values='jsonl motchallenge' files=''
      [[ $command != track ]] || values+=' kitti csv'
      ;;
    --scores) options='' values='fraction percent auto' files='' ;;
    --stabilise) options='' values='auto off' files='' ;;
    --preset) options='' values='steady flickering' files='' ;;
    --report) options='' values='all confident settled' files='' ;;
    --boxes) options='' values='smoothed detected' files='' ;;
    --preprocess) options='' values='auto none mot17 mot20' files='' ;;
    --tracker)
      [[ $command != eval ]] || return
      options='' values='vanilla reid hybrid lowfps' files='' ;;
    --class | --sequences | --jobs | --id | --frame | --worst) return ;;
    --label | --category | --picture | --fps | --param | --associate | --labels | --idle-timeout | --max-detections) return ;;
    --hold | --fill | --delay | --state-every | --every) return ;;
    --beside | --tracks | --camera) return ;;
    --redis | --name | --shards | --batch | --lease | --most-unread | --source | --most-waiting) return ;;
    --seed | --frames | --people | --vehicles | --reentries | --pan | --drop | --feature-length) return ;;
  esac

  if [[ $word == -* ]]; then
    values=$options
  elif [[ $files ]]; then
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
    return
  fi
  mapfile -t COMPREPLY < <(compgen -W "$values" -- "$word")
}

complete -F _nivra nivra nivra-worker
