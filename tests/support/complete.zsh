# What zsh lists behind each line, as a terminal shows it; form feeds stand between.
#
#   zsh -f complete.zsh WAIT FUNCTIONS FOLDER LINE...   FUNCTIONS has _zovek; in FOLDER names of files are looked for
#
# Keys that wait keep zsh from listing, so after each line it gets WAIT seconds.
zmodload zsh/zpty
zpty shell zsh -f -i
heard() { local part; zpty -r -m shell part "*$1*" && print -rn -- $part }
zpty -w shell "stty columns 200 rows 100; cd ${(q)3}; fpath=(${(q)2} \$fpath); autoload -U compinit; compinit -u -D
PS1=; unsetopt beep; zstyle ':completion:*' list-colors ''; bindkey '^D' list-choices
fresh() { BUFFER=; print -n re; print ady }; zle -N fresh; bindkey '^X' fresh; print -n re; print ady"
heard ready >/dev/null
wait=$1
shift 3
for line; do
    sleep $wait
    zpty -w -n shell "$line"$'\C-D'
    sleep $wait
    zpty -w -n shell $'\C-X'
    heard ready
    print -n '\f'
done
zpty -d shell
