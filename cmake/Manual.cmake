# cmake -DPROGRAM=... -DTEMPLATE=... -DVERSION=... -DPAGE=... -P Manual.cmake
# A man page: the template with the program's own list of its commands and options.
execute_process(COMMAND ${PROGRAM} --manual OUTPUT_VARIABLE COMMANDS_AND_OPTIONS
                COMMAND_ERROR_IS_FATAL ANY)
configure_file(${TEMPLATE} ${PAGE} @ONLY)
