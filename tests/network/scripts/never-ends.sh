#!/bin/sh
# Prints part of an answer, records its process id in the file named by $1, then hangs. exec keeps the
# same process, so the recorded id is the one that must be gone afterwards.
echo "partial answer"
echo $$ >"$1"
exec sleep 3600
