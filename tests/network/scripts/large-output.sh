#!/bin/sh
# Far more than a pipe holds, so that a reader which waits before reading would stall the writer.
awk 'BEGIN { for (i = 1; i <= 100000; i++) printf "line %06d of a long ifconfig\n", i }'
