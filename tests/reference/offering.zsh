# SPDX-License-Identifier: Apache-2.0
# source offering.zsh FOLDER FILE: from now on this interactive shell's completions come from FOLDER
# too, and what the tabulator key would list is written to FILE, a match a line.
fpath=($1 $fpath)
matches=$2
autoload -Uz compinit && compinit -D -u

compadd() {
    # With one of these options it computes matches for its caller and offers nothing.
    if [[ " ${(j: :)@[1,(i)(-|--)]} " != *' -'[ADO]' '* ]]; then
        local -a found
        builtin compadd -A found "$@"
        (($#found)) && print -rl -- $found >>$matches
    fi
    builtin compadd "$@"
}

offer() {
    _main_complete
    compstate[insert]= compstate[list]=
    print "<offered>"
}

zle -C offer complete-word offer
bindkey "^I" offer
print "<ready>"
