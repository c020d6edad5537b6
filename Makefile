# The two set-up commands of README.md.
.PHONY: run test build deps

run: build
	scripts/run.sh

test: build
	scripts/test.sh

build: deps
	scripts/build.sh
	scripts/fetch-ftp-servers.sh build/third_party

deps:
	scripts/install-deps.sh
