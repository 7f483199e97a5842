#!/usr/bin/env bash
# Completes kestrova-cli command lines with the bash completion script, as
# bash-completion would on a TAB, and checks what it offers.
# Usage: completion.sh COMPLETION-SCRIPT KESTROVA-CLI
script=$(realpath "$1")
cli=$(realpath "$2")

if [ ! -r /usr/share/bash-completion/bash_completion ]; then
    echo "FAIL: /usr/share/bash-completion/bash_completion is missing: Debian's package bash-completion provides it (scripts/install-deps.sh --tests installs it)" >&2
    exit 1
fi
# bash-completion is written for interactive shells: no -e, no -u.
source /usr/share/bash-completion/bash_completion
source "$script"
PATH="$(dirname "$cli"):$PATH"

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder" || exit 1
mkdir photos
touch beach.jpg CASTLE.JPEG notes.txt portrait.png photos/inside.png

failures=0

# Prints, sorted and on one line, what a TAB offers after the words given;
# the last word is the one being completed ('' for a new word).
offered()
{
    COMP_WORDS=(kestrova-cli "$@")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    # The line as typed: bash splits "--format=png" into three words.
    local word previous=""
    COMP_LINE=""
    for word in "${COMP_WORDS[@]}"; do
        [ -n "$COMP_LINE" ] && [ "$word" != "=" ] && [ "$previous" != "=" ] && COMP_LINE+=" "
        COMP_LINE+=$word
        previous=$word
    done
    COMP_POINT=${#COMP_LINE}
    COMPREPLY=()
    _kestrova_cli kestrova-cli "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
    printf '%s\n' "${COMPREPLY[@]}" | sort | tr '\n' ' ' | sed 's/ $//'
}

# expect "WHAT IS OFFERED" WORDS...: exactly these completions.
expect()
{
    local wanted=$1
    shift
    local got
    got=$(offered "$@")
    if [ "$got" != "$wanted" ]; then
        echo "FAIL: kestrova-cli $* <TAB>"
        echo "  offered:  $got"
        echo "  expected: $wanted"
        failures=$((failures + 1))
    fi
}

# includes "WORD..." -- WORDS...: at least these completions, and none of the
# words after "but not".
includes()
{
    local wanted=() unwanted=() word
    while [ "$1" != "--" ]; do
        if [ "$1" = "but-not" ]; then
            shift
            while [ "$1" != "--" ]; do unwanted+=("$1"); shift; done
            break
        fi
        wanted+=("$1")
        shift
    done
    shift
    local got
    got=" $(offered "$@") "
    for word in "${wanted[@]}"; do
        if [[ $got != *" $word "* ]]; then
            echo "FAIL: kestrova-cli $* <TAB> does not offer $word (offers:$got)"
            failures=$((failures + 1))
        fi
    done
    for word in "${unwanted[@]}"; do
        if [[ $got == *" $word "* ]]; then
            echo "FAIL: kestrova-cli $* <TAB> offers $word (offers:$got)"
            failures=$((failures + 1))
        fi
    done
}

# The effects, as kestrova-cli --help lists them, sorted; those starting
# with a prefix.
effects=$("$cli" --help | sed -n '/^Effects and their options:/,/^$/p' |
    awk '/^  [a-z]/ { print $1 }' | sort | tr '\n' ' ' | sed 's/ $//')
starting()
{
    local effect chosen=()
    for effect in $effects; do
        [[ $effect == "$1"* ]] && chosen+=("$effect")
    done
    echo "${chosen[*]}"
}
[ -n "$effects" ] || { echo "FAIL: kestrova-cli --help lists no effect"; exit 1; }

# The effects come first, also after options.
expect "$effects" ''
expect "$(starting pe)" pe
expect "$(starting pe)" -j 2 --quiet pe
expect "$(starting po)" --timings po

# The general options, before and after the effect.
general=(--help --version -o --output-dir --format --quality --png-level -j --jobs --threads
    --quiet -q --timings --name --size --dpi --dry-run --preset --save-preset)
includes "${general[@]}" but-not --density --colors --threshold --black --transparent -- -
includes "${general[@]}" --black --white --transparent but-not --density --no-contour -- pen -
includes --density --black --white --contour-black --contour-white --no-contour --transparent \
    but-not --colors --threshold --brush -- pencil -
includes --colors but-not --transparent -- poster -
includes --palette --save-palette but-not --auto-levels -- poster -
includes --auto-levels but-not --palette --save-palette -- pencil -
includes --auto-levels but-not --palette --density -- pen -
includes --preset --save-preset but-not --auto-levels --palette -- -
expect "--colors --contour-black --contour-white" poster --c
expect "--threads --threshold --timings" color --t
expect "--threads --timings --transparent" pen --t
expect "--black" pen photo.jpg --quiet color --b   # the effect is the first word
expect "--dpi --dry-run" pen --d   # the pen has no density

# Option values.
expect "jpg png tif webp" pencil --format ''
expect "jpg" pencil -o out --format j
expect "jpg png tif webp" pencil --format = ''   # --format=<TAB>: bash splits at the =
expect "fast small" pencil --png-level ''
expect "small" poster --png-level s
expect "" pen --threads ''
expect "photos" pen -o ''
expect "photos" pen --output-dir ''
expect "" pencil --density ''
expect "" pen -j ''
touch woods.preset clip.gpl
expect "CASTLE.JPEG beach.jpg clip.gpl notes.txt photos portrait.png woods.preset" \
    pencil --preset ''
expect "woods.preset" pencil --save-preset w
expect "clip.gpl photos" poster --palette ''
expect "clip.gpl photos" poster --save-palette ''
rm woods.preset clip.gpl

# Pictures, and folders that may hold them; an option's value is not the
# effect.
expect "CASTLE.JPEG beach.jpg photos portrait.png" pen ''
expect "CASTLE.JPEG beach.jpg photos portrait.png" -j 2 pencil --density 4 ''
expect "CASTLE.JPEG beach.jpg photos portrait.png" pen beach.jpg ''
expect "CASTLE.JPEG beach.jpg photos portrait.png" pen --black = 200 ''
expect "portrait.png" pencil por
expect "photos/inside.png" pen photos/

# Every suffix -r takes from folders, as the help lists them, is offered in
# lower and upper case; the completion may offer more.
suffixes=$("$cli" --help |
    awk '/^  -r, --recursive/ { on = 1 } on && /^  -/ && !/--recursive/ { exit } on' |
    tr -s ' \n' ' ' | grep -oE '([a-z0-9]+, )+[a-z0-9]+;' | tr -d ',;')
[ -n "$suffixes" ] || { echo "FAIL: kestrova-cli --help lists no suffix for -r"; exit 1; }
mkdir kinds
touch kinds/notes.txt
pictures=()
for suffix in $suffixes; do
    touch "kinds/lower.$suffix" "kinds/UPPER.${suffix^^}"
    pictures+=("kinds/lower.$suffix" "kinds/UPPER.${suffix^^}")
done
includes "${pictures[@]}" but-not kinds/notes.txt -- pen kinds/

if [ "$failures" -ne 0 ]; then
    echo "$failures completion checks failed"
    exit 1
fi
echo "every completion check passed"
