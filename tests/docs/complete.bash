# complete.bash COMPLETION-FILE LINE: prints what the completion offers at the end of a command line, one a line. With
# BASH_COMPLETION set, to the file of that package, the package is loaded first.
completion=$1 line=$2
if [ -n "$BASH_COMPLETION" ]; then
    . "$BASH_COMPLETION"
    declare -F _init_completion >/dev/null || exit 3
fi
. "$completion"

# Words as readline makes them: ":" and "=" stand alone.
COMP_WORDS=()
for word in $line; do
    while [[ $word == *[:=]* ]]; do
        before=${word%%[:=]*}
        [ -z "$before" ] || COMP_WORDS+=("$before")
        word=${word#"$before"}
        COMP_WORDS+=("${word:0:1}")
        word=${word:1}
    done
    [ -z "$word" ] || COMP_WORDS+=("$word")
done
case $line in
*[[:space:]=]) COMP_WORDS+=('') ;;
esac
COMP_LINE=$line COMP_POINT=${#line} COMP_CWORD=$((${#COMP_WORDS[@]} - 1))

[[ $(complete -p zef_client) =~ -F\ ([a-z_]+) ]] || exit 4
"${BASH_REMATCH[1]}" zef_client "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
[ ${#COMPREPLY[@]} -eq 0 ] || printf '%s\n' "${COMPREPLY[@]}"
