# Installs the build in the folder BUILD elsewhere and moves the installation to PREFIX, where it has to
# work as well.
file(REMOVE_RECURSE ${PREFIX} ${PREFIX}.new)
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${PREFIX}.new
                COMMAND_ERROR_IS_FATAL ANY)
file(RENAME ${PREFIX}.new ${PREFIX})
