# The front door. Each target sets up what it needs on Debian 12 (packages, the 32-bit sysroots) and
# does nothing twice; the work itself is in CMakePresets.json and tools/.
#
# WORDSIZE=32 or WORDSIZE=64 narrows a target to one word size.

.DEFAULT_GOAL := help
.NOTPARALLEL:
.PHONY: help demo test test-arm reliability build check coverage bench bench-peers bench-check bench-check-accept install package size abi abi-record docs format clean distclean

SHELL := /bin/bash
.SHELLFLAGS := -euo pipefail -c

help: ## this list
	@echo "make [WORDSIZE=32|64] <target>"
	@sed -nE 's/^([a-z-]+):.*## (.*)/  \1\t\2/p' Makefile | expand -t 22

demo: ## build for this machine's word size and show two processes sharing one object model
	@tools/setup.sh demo
	@preset=$$(tools/wordsizes.sh demo)-release; \
	tools/build.sh $$preset -DMOX_BUILD_TESTS=OFF demo_programs; \
	tools/demo.sh build/$$preset

test: ## everything: all tests on both word sizes, with sanitizers and optimised, then the checks
	@tools/test.sh

test-arm: ## the unit and process tests as 32-bit Arm programs, under an emulator; not part of "test"
	@tools/setup.sh test-arm
	@tools/test-arm.sh

reliability: ## break it on purpose for a quarter of an hour; the figures in docs/RELIABILITY.md
	@tools/setup.sh reliability
	@tools/reliability.sh

build: ## the optimised build of each word size, tests included
	@tools/setup.sh test
	@for bits in $$(tools/wordsizes.sh test); do tools/build.sh $$bits-release; done

check: ## formatting, includes, exported names, ABI, sizes, installing, packages, clang-tidy
	@tools/setup.sh test
	@preset=$$(tools/wordsizes.sh demo)-release; \
	tools/build.sh $$preset; \
	tools/check.sh $$preset

coverage: ## which lines and branches of src/ the tests reach; fails under the limits
	@tools/setup.sh coverage
	@[[ ! -d build/coverage ]] || find build/coverage -name '*.gcda' -delete
	@tools/build.sh coverage core_tests
	@tools/coverage.sh build/coverage

bench: ## the benchmarks of each word size; their tables and plots in docs/PERFORMANCE.md
	@tools/setup.sh bench
	@for bits in $$(tools/wordsizes.sh bench); do \
	    tools/build.sh $$bits-release -DMOX_BUILD_TESTS=OFF -DMOX_BUILD_BENCH=ON; \
	    bench/run.sh build/$$bits-release; \
	done
	@python3 -B bench/report build/64-release build/32-release

bench-peers: ## the same work done by other software beside ours, in one run, 64-bit; its table in docs/PERFORMANCE.md
	@WORDSIZE=64 tools/setup.sh bench-peers
	@tools/build.sh 64-release --product -DMOX_BUILD_PEERS=ON peers
	@python3 -B bench/peers/run.py build/64-release
	@python3 -B bench/report --peers build/64-release build/32-release

bench-check: ## have the hottest operations grown? Counts their instructions, compares with bench/instruction-counts.txt
	@tools/setup.sh bench-check
	@for bits in $$(tools/wordsizes.sh bench-check); do tools/build.sh $$bits-release --product moxbase hot_operations; done
	@tools/check-instructions.sh $$(tools/wordsizes.sh bench-check | sed -E 's/([0-9]+)/\1-release/g')

bench-check-accept: ## accept the instruction counts as they are now
	@tools/setup.sh bench-check
	@for bits in $$(tools/wordsizes.sh bench-check); do tools/build.sh $$bits-release --product moxbase hot_operations; done
	@tools/check-instructions.sh --accept $$(tools/wordsizes.sh bench-check | sed -E 's/([0-9]+)/\1-release/g')

install: ## libraries, headers, programs: PREFIX=/usr/local, DESTDIR before it, for this machine's word size
	@tools/setup.sh install
	@tools/install.sh $$(tools/wordsizes.sh install)-release "$${PREFIX:-/usr/local}"

package: ## the Debian packages libmoxbase, -dev and -tools, in build/packages
	@tools/setup.sh package
	@tools/package.sh

size: ## the stripped library and the pool bytes of objects and properties, against their budget
	@tools/setup.sh size
	@for bits in $$(tools/wordsizes.sh size); do tools/build.sh $$bits-release --product moxbase pool_size; done
	@tools/size.sh $$(tools/wordsizes.sh size | sed -E 's/([0-9]+)/\1-release/g')

abi: ## has the interface for compiled programs changed? Compares with abi/
	@tools/setup.sh abi
	@for bits in $$(tools/wordsizes.sh abi); do tools/build.sh $$bits-release --product moxbase moxhost; done
	@tools/check-abi.sh $$(tools/wordsizes.sh abi | sed -E 's/([0-9]+)/\1-release/g')

abi-record: ## accept the interface as it is now: writes abi/
	@tools/setup.sh abi
	@for bits in $$(tools/wordsizes.sh abi); do tools/build.sh $$bits-release --product moxbase moxhost; done
	@tools/check-abi.sh --accept $$(tools/wordsizes.sh abi | sed -E 's/([0-9]+)/\1-release/g')

docs: ## the public headers and the pages as HTML in build/docs; fails on what has no comment
	@tools/setup.sh docs
	@tools/docs.sh

format: ## format our C and C++ files
	@tools/setup.sh test
	@tools/check-format.sh --fix

clean: ## remove the builds; the sysroots stay
	@rm -rf build/{32,64,arm}-* build/packages

distclean: ## remove build/ altogether
	@rm -rf build
