#!/bin/sh
# makensis with an installer of 64 bits, as the program has. CPack cannot pass an argument with a space in it.
exec makensis "-XTarget amd64-unicode" "$@"
