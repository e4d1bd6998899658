#!/usr/bin/env node
require("../run.js")("protoc-gen-qarn-rpc-lint");
