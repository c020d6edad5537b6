# The two set-up commands of README.md.
.PHONY: run test build deps

run: build
	scripts/run.sh

test: build
	scripts/test.sh

build: deps
	scripts/build.sh
	scripts/fetch-pure-ftpd.sh build/third_party/pure-ftpd

deps:
	scripts/install-deps.sh
