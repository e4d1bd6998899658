#!/bin/sh
# Builds this folder; the server at the address $1, HOST:PORT, generates.
exec siso ninja -reapi_address="$1" -reapi_insecure -reapi_instance= -project= -strict_remote
