#!/bin/sh
# A service name with accents in UTF-8, then two bytes that are not UTF-8 at all.
printf 'R\303\251seau priv\303\251\n'
printf 'bad \377\376 bytes\n' >&2
