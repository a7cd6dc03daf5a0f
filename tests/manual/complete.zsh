# What an interactive zsh makes of a line and two tabs.
# usage: zsh -f complete.zsh FOLDER_OF_COMPLETIONS LINE
# Prints the list that is shown, and the line afterwards within <>.
zmodload zsh/zpty
zpty shell zsh -f -i
zpty -w shell "PS1=; PS2=; TERM=dumb; fpath=($1 \$fpath); autoload -Uz compinit; compinit -u -D"
zpty -w shell 'LISTMAX=10000; setopt no_beep; stty columns 200 rows 1000'
zpty -w shell 'show() { print -r -- "<$BUFFER>" }; zle -N show; bindkey "^X" show; print ready'
zpty -r shell out '*ready*ready*'
zpty -w -n shell "$2"$'\t\t\x18'
zpty -r shell out '*<*>*'
print -r -- "$out"
zpty -d shell
