#!/bin/sh
echo "** Error: Command requires admin privileges." >&2
exit 14
