# Analyses the recordings in and below the current folder that have no result yet, or changed since.
#
#   make -k -j "$(nproc)" -C FOLDER -f archive.mk
#
# With -k it goes on after a bad recording, names it ("***") and ends with status 2. The next run
# tries it again. After a change of options or coordinates, -B makes all anew. Names of recordings
# must be of letters, digits and . _ - only: a colon stops the run.

OPTIONS = --csv -g0 --quiet
START := $(shell date +%s)

.SUFFIXES:
.DELETE_ON_ERROR:
.PHONY: all
all: $(patsubst %.ko24,%.csv,$(shell find . -name '*.ko24'))

# The test is for a mistyped option: that shows the help and is status 0. It asks for a result of
# this run, not for one newer than the recording, whose date may lie in the future.
%.csv: %.ko24
	tavrik $(OPTIONS) '$<'
	@test -n "$$(find '$@' -newermt @$(START))"
