# Writes the commit that is built into a header, and leaves it alone when it is the same. Without Git,
# as in an unpacked archive, the commit is not known.
#
#     cmake -DSOURCE=<tree> -DHEADER=<file> -P Commit.cmake
execute_process(COMMAND git -C ${SOURCE} rev-parse --short=12 HEAD
  OUTPUT_VARIABLE commit OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET RESULT_VARIABLE failed)
if(failed)
  set(commit "")
endif()
file(CONFIGURE OUTPUT ${HEADER} CONTENT "#define LIGHTING_COMMIT \"${commit}\"\n")
