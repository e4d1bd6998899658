#!/bin/sh
# A protoc plugin that keeps the request it is given: protoc starts it, and it
# copies its standard input to the file that QARN_RPC_REQUEST names.
exec cat >"${QARN_RPC_REQUEST:?name the file to write the request to}"
