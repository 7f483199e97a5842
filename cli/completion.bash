# bash completion for kestrova-cli                        -*- shell-script -*-
#
# The effects and the options are read from the tool's own --help, so the
# completion offers exactly what the kestrova-cli being completed knows:
# the first word is an effect, options follow the Options section and the
# chosen effect's entry, and the other words are pictures.

# Prints "EFFECT OPTION [VALUE]" for each effect option, "- OPTION [VALUE]"
# for each general one and "EFFECT" for each effect, from the help on stdin.
_kestrova_cli_table()
{
    awk '
        # "-o, --output-dir <DIR>  Text": both names take the value.
        function options(text, owner,    n, i, parts, words, value) {
            sub(/^ +/, "", text)
            sub(/  .*/, "", text)
            value = text ~ / </ ? "value" : ""
            n = split(text, parts, ", ")
            for (i = 1; i <= n; i++) {
                split(parts[i], words, " ")
                print owner, words[1], value
            }
        }
        /^Effects and their options:$/ { section = "effects"; next }
        /^Options:$/ { section = "options"; next }
        /^$/ { section = "" }
        section == "effects" && /^  [a-z]/ { effect = $1; print effect; next }
        section == "effects" && /^ +-/ { options($0, effect); next }
        section == "options" && /^  -/ { options($0, "-") }
    '
}

_kestrova_cli()
{
    local cur prev words cword split
    _init_completion -s || return

    local table
    table=$(LC_ALL=C "$1" --help 2>/dev/null | _kestrova_cli_table)

    # Options that take a value, whichever effect they belong to.
    local valued
    valued=" $(awk '$3 == "value" { print $2 }' <<<"$table" | tr '\n' ' ')"

    # The effect is the first word that is neither an option nor its value.
    local effect="" i
    for ((i = 1; i < cword; i++)); do
        if [[ ${words[i]} == -* ]]; then
            [[ ${words[i]} != *=* && $valued == *" ${words[i]} "* ]] && ((i++))
        elif [[ -z $effect ]]; then
            effect=${words[i]}
        fi
    done

    case $prev in
        -o | --output-dir)
            _filedir -d
            return
            ;;
        --format)
            COMPREPLY=($(compgen -W 'png jpg webp tif' -- "$cur"))
            return
            ;;
        --png-level)
            COMPREPLY=($(compgen -W 'fast small' -- "$cur"))
            return
            ;;
        --preset | --save-preset)
            _filedir
            return
            ;;
        --palette | --save-palette)
            _filedir gpl
            return
            ;;
    esac
    # Any other value is a number: nothing to offer.
    [[ $valued == *" $prev "* ]] && return
    $split && return

    if [[ $cur == -* ]]; then
        local offered
        offered=$(awk -v effect="$effect" 'NF > 1 && ($1 == "-" || $1 == effect) { print $2 }' \
            <<<"$table")
        COMPREPLY=($(compgen -W "$offered" -- "$cur"))
    elif [[ -z $effect ]]; then
        COMPREPLY=($(compgen -W "$(awk 'NF == 1' <<<"$table")" -- "$cur"))
    else
        # Every suffix -r takes from folders (pictureSuffixes() in
        # cli/imagefiles.cpp; tests/packaging/completion.sh checks this list
        # against the help), and the netpbm and X formats Qt also reads, for
        # a picture named on its own.
        _filedir '@(png|jpg|jpeg|bmp|gif|tif|tiff|webp|ppm|pgm|pbm|xbm|xpm)'
    fi
} &&
    complete -F _kestrova_cli kestrova-cli
