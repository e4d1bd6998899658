// Starts a program of the package for this platform, which npm installs beside
// this one, with this process's input, output and arguments.
"use strict";

const { spawnSync } = require("child_process");

module.exports = (program) => {
  const platform = `qarn-rpc-gen-${process.platform}-${process.arch}`;
  const suffix = process.platform === "win32" ? ".exe" : "";
  let file;
  try {
    file = require.resolve(`${platform}/bin/${program}${suffix}`);
  } catch {
    console.error(
      `${program}: the package ${platform} is not installed. npm leaves it out with ` +
        "--omit=optional, and where there is none for this platform; then build " +
        "the plugin from its source."
    );
    process.exit(1);
  }
  const done = spawnSync(file, process.argv.slice(2), { stdio: "inherit" });
  if (done.error) {
    console.error(`${program}: ${file} does not start: ${done.error.message}`);
    process.exit(1);
  }
  if (done.signal) {
    process.kill(process.pid, done.signal);
  }
  process.exitCode = done.status;
};
