#compdef vordta
# Completion of vordta for zsh: the command says itself what may stand where the cursor is.

local -a answer kinds
answer=("${(@f)$("${(Q)words[1]}" complete $((CURRENT - 1)) "${(@Q)words}" 2>/dev/null)}")
kinds=(${=answer[1]})
shift answer
case $kinds[1] in
  files)
    (( $#kinds > 1 )) || return 1
    compset -P '--*='
    if [[ $kinds[2] == '*' ]]; then _files; else _files -g "*.(${(j:|:)kinds[2,-1]})"; fi
    ;;
  list) compadd -S '' -a answer ;;
  *) compadd -a answer ;;
esac
