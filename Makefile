# The front door. Each target installs what it needs (scripts/setup), builds and runs.
PREFIX ?= /usr/local
JOBS ?= $(shell nproc)

.PHONY: all demo test bench check install setup clean
all: build/release
demo: all
	scripts/demo
test: all
	ctest --preset release -j $(JOBS)
bench: setup
	scripts/bench
check: setup
	scripts/check
install: all
	cmake --install build/release --prefix $(PREFIX)
setup:
	@scripts/setup
clean:
	rm -rf build out

.PHONY: build/release
build/release: setup
	cmake --preset release
	cmake --build --preset release -j $(JOBS)
