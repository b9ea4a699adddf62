# SPDX-License-Identifier: Apache-2.0
# complete.bash LINE WORD...: what bash offers for the last word of a line, on one line. The line is
# given in words too, as bash would split it, at = and : as well. Completions come from XDG_DATA_DIRS.
COMP_LINE=$1
shift
program=$1
source /usr/share/bash-completion/bash_completion
_completion_loader "${program##*/}"
COMP_WORDS=("$@")
COMP_CWORD=$(($# - 1))
COMP_POINT=${#COMP_LINE}
COMP_TYPE=9
COMP_KEY=9
function_of=$(complete -p "${program##*/}" | sed 's/.* -F \([^ ]*\) .*/\1/')
"$function_of" "$program" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
echo "${COMPREPLY[@]}"
