# Writes the fuzzer's dictionary: every key-like text literal of the module's
# sources (payload keys, request and event names, role names, status words), so
# that it follows the keys the module reads without being kept by hand.
#   cmake -DSOURCE_DIR=<src> -DOUTPUT=<file> -P MakeDictionary.cmake
file(GLOB_RECURSE sources "${SOURCE_DIR}/*.cpp" "${SOURCE_DIR}/*.h")
set(words "")
foreach(source ${sources})
    file(STRINGS "${source}" lines REGEX "\"[A-Za-z_@#][A-Za-z0-9_@#-]*\"")
    foreach(line ${lines})
        string(REGEX MATCHALL "\"[A-Za-z_@#][A-Za-z0-9_@#-]*\"" found "${line}")
        foreach(word ${found})
            string(LENGTH "${word}" length)
            if(length LESS_EQUAL 66)
                list(APPEND words "${word}")
            endif()
        endforeach()
    endforeach()
endforeach()
list(REMOVE_DUPLICATES words)
list(SORT words)
list(JOIN words "\n" text)
file(WRITE "${OUTPUT}" "# Keys, names and words the module reads, drawn from its sources\n${text}\n")
