# Installs the tree that is built in `build` below `installed` and moves it to `moved`.
file(REMOVE_RECURSE ${installed} ${moved})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${build} --prefix ${installed}
  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
file(RENAME ${installed} ${moved})
