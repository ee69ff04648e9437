# The two commands a person needs: `make demo` and `make test`.
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
# Seconds each fuzz target runs under `make fuzz`.
FUZZ_SECONDS ?= 60

.PHONY: deps demo test bench fuzz build-test build-release clean

deps:
	@scripts/install-deps

build-release: deps
	@cmake --preset release >/dev/null
	@cmake --build --preset release -j $(JOBS) --target kestrin

demo: build-release
	@build/release/bin/kestrin demo
	@printf '\nThe health report of these weeks, to open in a browser: '
	@build/release/bin/kestrin report --simulate office-worker --out build/kestrin-report.html

build-test:
	@scripts/install-deps --tests
	@cmake --preset test >/dev/null
	@cmake --build --preset test -j $(JOBS)

test: build-test
	@ctest --preset test

# The benchmarks in a Release build, each figure printed beside its target.
bench:
	@scripts/install-deps --bench
	@cmake --preset bench >/dev/null
	@cmake --build --preset bench -j $(JOBS) --target kestrin_bench kestrin
	@scripts/bench-report build/bench

# Every decoder and parser under libFuzzer (clang), then each target for
# FUZZ_SECONDS; what they find lands in build/fuzz/findings.
fuzz:
	@scripts/install-deps --fuzz
	@cmake --preset fuzz >/dev/null
	@cmake --build --preset fuzz -j $(JOBS)
	@scripts/run-fuzzers $(FUZZ_SECONDS)

clean:
	rm -rf build
