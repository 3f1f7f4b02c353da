# VEL_SOURCE_DATE: when the source was last changed, in seconds since 1970; what is built carries no
# other date. SOURCE_DATE_EPOCH of the environment, else the last commit, else this changelog.
if(DEFINED ENV{SOURCE_DATE_EPOCH})
    set(VEL_SOURCE_DATE $ENV{SOURCE_DATE_EPOCH})
else()
    execute_process(COMMAND git -C ${PROJECT_SOURCE_DIR} log -1 --format=%ct
        OUTPUT_VARIABLE VEL_SOURCE_DATE OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()
if(NOT VEL_SOURCE_DATE MATCHES "^[0-9]+$")
    file(TIMESTAMP ${PROJECT_SOURCE_DIR}/CHANGELOG.md VEL_SOURCE_DATE "%s" UTC)
endif()
