# The two commands a newcomer needs:
#   make run   installs what is missing, builds and starts Tackpad
#   make test  installs what is missing, builds and runs every test headless
BUILD_DIR ?= build
SANITIZE_DIR ?= build-sanitize
COVERAGE_DIR ?= build-coverage
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_FLAGS ?=
PREFIX ?= /usr/local
# Which packages scripts/bootstrap installs: `run` only what building and running need; every other target needs
# the test tools too (CI runs `make test`).
BOOTSTRAP_SET ?= test

.PHONY: run test bench sanitize coverage build configure bootstrap install package format clean translations

bootstrap:
	@scripts/bootstrap $(BOOTSTRAP_SET)

run: BOOTSTRAP_SET = run
package: BOOTSTRAP_SET = package
install: BOOTSTRAP_SET = run

$(BUILD_DIR)/build.ninja:
	cmake -S . -B $(BUILD_DIR) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_FLAGS)

configure: bootstrap $(BUILD_DIR)/build.ninja

build: configure
	cmake --build $(BUILD_DIR) -j $(JOBS)

run: build
	$(BUILD_DIR)/src/app/tackpad $(ARGS)

# Installs the build under PREFIX (default /usr/local); DESTDIR stages it elsewhere, as packagers do.
install: build
	DESTDIR="$(DESTDIR)" cmake --install $(BUILD_DIR) --prefix "$(PREFIX)"

# A Debian package of the build: $(BUILD_DIR)/tackpad_<version>_<arch>.deb.
package: build
	cmake --build $(BUILD_DIR) --target package

test: build
	scripts/headless --x11 -- ctest --test-dir $(BUILD_DIR) --output-on-failure -j $(JOBS) --timeout 300

# Benchmarks run offscreen on the optimised build; each prints its medians over repeated runs.
bench: build
	@set -e; for b in $(BUILD_DIR)/bench/bench_*; do \
	  [ -f "$$b" ] && [ -x "$$b" ] || continue; echo "== $$(basename $$b)"; \
	  QT_QPA_PLATFORM=offscreen scripts/headless -- "$$b" --benchmark_repetitions=5 \
	    --benchmark_report_aggregates_only=true $(BENCH_ARGS); \
	done

$(SANITIZE_DIR)/build.ninja:
	cmake -S . -B $(SANITIZE_DIR) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DTACKPAD_SANITIZE=ON \
	  -DTACKPAD_BUILD_BENCHMARKS=OFF $(CMAKE_FLAGS)

sanitize: bootstrap $(SANITIZE_DIR)/build.ninja
	cmake --build $(SANITIZE_DIR) -j $(JOBS)
	ASAN_OPTIONS=detect_leaks=0:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	  scripts/headless --x11 -- ctest --test-dir $(SANITIZE_DIR) --output-on-failure -j $(JOBS) --timeout 600

# Line coverage of src/ by the whole suite (unoptimised build with gcov counters); prints the summary and writes
# $(COVERAGE_DIR)/coverage.html.
$(COVERAGE_DIR)/build.ninja:
	cmake -S . -B $(COVERAGE_DIR) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DTACKPAD_COVERAGE=ON \
	  -DTACKPAD_BUILD_BENCHMARKS=OFF $(CMAKE_FLAGS)

coverage: bootstrap $(COVERAGE_DIR)/build.ninja
	cmake --build $(COVERAGE_DIR) -j $(JOBS)
	find $(COVERAGE_DIR) -name '*.gcda' -delete
	scripts/headless --x11 -- ctest --test-dir $(COVERAGE_DIR) --output-on-failure -j $(JOBS) --timeout 600
	gcovr --root . --object-directory $(COVERAGE_DIR) --filter 'src/' --exclude-unreachable-branches \
	  --print-summary --html $(COVERAGE_DIR)/coverage.html

format:
	git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD_DIR) $(SANITIZE_DIR) $(COVERAGE_DIR)

# Refreshes translations/*.ts from every text in the sources; translate the new entries with Qt Linguist afterwards.
translations:
	/usr/lib/qt6/bin/lupdate -no-obsolete -locations none src -ts translations/tackpad_de.ts
