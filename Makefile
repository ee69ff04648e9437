# The two commands a person needs: `make demo` and `make test`.
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
# Seconds each fuzz target runs under `make fuzz`.
FUZZ_SECONDS ?= 60

.PHONY: deps demo test coverage bench fuzz build-test build-release clean

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

# The ceiling of tests per line of code comes down as the suite does; the
# aim is a third (scripts/test-ratio).
TEST_RATIO_CEILING ?= 0.50

test: build-test
	@scripts/test-ratio $(TEST_RATIO_CEILING) >/dev/null
	@ctest --preset test

# Line and branch coverage of every test, per source folder (GCC, gcovr).
coverage:
	@scripts/install-deps --coverage
	@cmake --preset coverage >/dev/null
	@cmake --build --preset coverage -j $(JOBS)
	@find build/coverage -name '*.gcda' -delete
	@ctest --preset coverage -E package.consumer >/dev/null || echo "coverage: some tests failed; the figures count what ran"
	@scripts/coverage-report build/coverage

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
