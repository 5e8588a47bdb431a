#!/bin/sh
# One bracketed line per argument, so that splitting, quoting or expansion would show.
for argument in "$@"; do
    printf '[%s]\n' "$argument"
done
