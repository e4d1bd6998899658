# Written with the Debian package.
