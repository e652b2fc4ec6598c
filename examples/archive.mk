# Analyses the recordings in and below the current folder that have no result yet, or changed since.
#
#   make -k -j "$(nproc)" -C FOLDER -f archive.mk
#
# With -k it goes on after a bad recording, names it ("***") and ends with status 2. The next run
# tries it again. After a change of options or coordinates, -B makes all anew. Names of recordings
# must be of letters, digits and . _ - only: a colon stops the run.

OPTIONS = --csv -g0 --quiet

.SUFFIXES:
.PHONY: all
all: $(patsubst %.ko24,%.csv,$(shell find . -name '*.ko24'))

# The test is for a mistyped option: that shows the help and is status 0.
%.csv: %.ko24
	tavrik $(OPTIONS) '$<'
	@test '$@' -nt '$<'
