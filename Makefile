# The two set-up commands of README.md, and the Debian package.
.PHONY: run test build deps package

run: build
	scripts/run.sh

test: build
	scripts/test.sh

build: deps
	scripts/build.sh
	scripts/fetch-ftp-servers.sh build/third_party

# The Debian package in build/, checked by lintian and unpacked once to run.
package: deps
	scripts/build.sh
	scripts/package.sh

deps:
	scripts/install-deps.sh
