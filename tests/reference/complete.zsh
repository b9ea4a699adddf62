# SPDX-License-Identifier: Apache-2.0
# complete.zsh FOLDER LINE...: what zsh offers at the end of each line, its matches on one line.
# Completions come from FOLDER. They need an interactive shell, which runs in a terminal of its own.
zmodload zsh/zpty
matches=$(mktemp)
zpty terminal "exec zsh -f -i"
trap 'zpty -d terminal; rm -f $matches' EXIT

zpty -w terminal "source ${(q)0:A:h}/offering.zsh ${(q)1} ${(q)matches}"
zpty -r terminal output $'*\n<ready>*'
for line in "${@[2,-1]}"; do
    : >$matches
    zpty -w -n terminal "$line"$'\t'
    zpty -r terminal output '*<offered>*'
    zpty -w -n terminal $'\C-u'
    print -r -- ${(f)"$(<$matches)"}
done
