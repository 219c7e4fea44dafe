# Has the program write its manual pages and completions into a folder, and packs the pages as Debian
# does.
#
#     cmake -DPROGRAM=<lighting-host> -DFOLDER=<folder> -P CommandTexts.cmake
file(REMOVE_RECURSE ${FOLDER})
execute_process(COMMAND ${PROGRAM} manual --all ${FOLDER}/man COMMAND_ERROR_IS_FATAL ANY)
file(GLOB pages ${FOLDER}/man/*.1)
# The house file and the protocol, from the documents. Without lowdown they are missing, which the test
# of the packages tells.
find_program(LOWDOWN lowdown)
if(LOWDOWN)
  execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/../scripts/manual_pages ${PROGRAM} ${FOLDER}/man5
    COMMAND_ERROR_IS_FATAL ANY)
  file(GLOB formats ${FOLDER}/man5/*.5)
endif()
execute_process(COMMAND gzip -9n ${pages} ${formats} COMMAND_ERROR_IS_FATAL ANY)
foreach(pair bash/lighting-host zsh/_lighting-host fish/lighting-host.fish)
  get_filename_component(shell ${pair} DIRECTORY)
  file(MAKE_DIRECTORY ${FOLDER}/${shell})
  execute_process(COMMAND ${PROGRAM} completion ${shell}
    OUTPUT_FILE ${FOLDER}/${pair} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
