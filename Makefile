# The two commands a person needs: `make demo` and `make test`.
JOBS ?= $(shell nproc 2>/dev/null || echo 2)

.PHONY: deps demo test build-test build-release clean

deps:
	@scripts/install-deps

build-release: deps
	@cmake --preset release >/dev/null
	@cmake --build --preset release -j $(JOBS) --target kestrin

demo: build-release
	@build/release/bin/kestrin demo

build-test: deps
	@cmake --preset test >/dev/null
	@cmake --build --preset test -j $(JOBS)

test: build-test
	@ctest --preset test

clean:
	rm -rf build
