# SPDX-License-Identifier: Apache-2.0
# Copying and moving needs no words where it does what everybody expects, and no place in the pages.
# The line stays, so that what stands below keeps its number.
/= delete/!s/^ .*(operator=|\<([A-Za-z]+)\((const )?\2&).*;$//
