# Sourced by an interactive zsh whose completion is asked: Ctrl-T writes what was offered for the line to the file
# $OFFERS, one word on each line with a tabulator and its description, empties the line, and says so.
PS1= PS2= RPS1= LISTMAX=-1
stty -echo columns 500
autoload -Uz compinit && compinit -u -D
zstyle ':completion:*' menu no
zstyle ':completion:*' list-grouped no  # a description with each word
bindkey '^I' complete-word

typeset -a offers
compadd() {
  # With one of these it fills arrays of its caller and offers nothing.
  if [[ ${@[1,(i)(-|--)]} == *-(O|A|D)\ * ]]; then
    builtin compadd "$@"
    return
  fi
  local -a found texts
  local -i at=${@[(i)-*d]}
  if (( at < $# )); then
    local name=${@[at + 1]}
    if [[ $name == \(*\) ]]; then texts=(${(Q)${(z)name[2,-2]}}); else texts=("${(@P)name}"); fi
  fi
  builtin compadd -A found -D texts "$@"
  for at in {1..$#found}; do offers+=("$found[at]"$'\t'"$texts[at]"); done
  builtin compadd "$@"
}

tell() {
  print -rl -- $offers >$OFFERS
  offers=() BUFFER=
  print '<told>'
}
zle -N tell
bindkey '^T' tell
print '<ready>'
