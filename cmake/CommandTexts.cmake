# Has the program write its manual pages and completions into a folder, and packs the pages as Debian
# does.
#
#     cmake -DPROGRAM=<lighting-host> -DFOLDER=<folder> -P CommandTexts.cmake
file(REMOVE_RECURSE ${FOLDER})
execute_process(COMMAND ${PROGRAM} manual --all ${FOLDER}/man COMMAND_ERROR_IS_FATAL ANY)
file(GLOB pages ${FOLDER}/man/*.1)
execute_process(COMMAND gzip -9n ${pages} COMMAND_ERROR_IS_FATAL ANY)
foreach(pair bash/lighting-host zsh/_lighting-host fish/lighting-host.fish)
  get_filename_component(shell ${pair} DIRECTORY)
  file(MAKE_DIRECTORY ${FOLDER}/${shell})
  execute_process(COMMAND ${PROGRAM} completion ${shell}
    OUTPUT_FILE ${FOLDER}/${pair} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
