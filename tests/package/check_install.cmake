# Installs the build into a scratch prefix, then builds a consumer twice:
# through find_package(vekvc) and through pkg-config.
set(prefix ${WORK}/prefix)
file(REMOVE_RECURSE ${WORK})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix} COMMAND_ERROR_IS_FATAL ANY
               )
foreach(f include/vekvc.h lib/libvekvcn8.so lib/libvekvcn8.so.6.1 lib/cmake/vekvc/vekvcConfig.cmake
          lib/pkgconfig/vekvc.pc)
  if(NOT EXISTS ${prefix}/${f})
    message(FATAL_ERROR "not installed: ${f}")
  endif()
endforeach()

execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK}/cmake -G Ninja -DCMAKE_PREFIX_PATH=${prefix}
                COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK}/cmake COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${WORK}/cmake/consumer COMMAND_ERROR_IS_FATAL ANY)

set(ENV{PKG_CONFIG_PATH} ${prefix}/lib/pkgconfig)
execute_process(COMMAND pkg-config --cflags --libs vekvc OUTPUT_VARIABLE flags COMMAND_ERROR_IS_FATAL ANY
                OUTPUT_STRIP_TRAILING_WHITESPACE)
separate_arguments(flags UNIX_COMMAND "${flags}")
execute_process(COMMAND cc ${SOURCE}/consumer.c ${flags} -o ${WORK}/consumer_pc COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${prefix}/lib ${WORK}/consumer_pc
                COMMAND_ERROR_IS_FATAL ANY)
