# Installs the build, then builds and runs the consumer twice: through the CMake package and through pkg-config.
file(REMOVE_RECURSE ${WORK})
function(run)
    execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)
endfunction()
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/tree)
run(${CMAKE_COMMAND} -S ${CONSUMER} -B ${WORK}/package -G Ninja -DCMAKE_PREFIX_PATH=${WORK}/tree
    -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_BUILD_TYPE=Release)
run(${CMAKE_COMMAND} --build ${WORK}/package)
run(${WORK}/package/consumer)

execute_process(COMMAND ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${WORK}/tree/${LIBDIR}/pkgconfig
    pkg-config --cflags --libs vf
    OUTPUT_VARIABLE _flags OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(_flags)
run(${CXX} -std=c++20 ${CONSUMER}/consumer.cpp -o ${WORK}/by_pkgconfig ${_flags} -Wl,-rpath,${WORK}/tree/${LIBDIR})
run(${WORK}/by_pkgconfig)
