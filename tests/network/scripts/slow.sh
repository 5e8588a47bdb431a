#!/bin/sh
# Answers after the given number of seconds.
sleep "$1"
echo "done after $1 s"
