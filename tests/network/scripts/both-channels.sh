#!/bin/sh
# Writes one line on each channel and fails, as a refused command does.
echo "to standard output"
echo "to standard error" >&2
exit 3
