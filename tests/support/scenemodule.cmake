# The live-code tests' own copy of the scene sources, built as a scene module: the tests save
# into that copy, never into the project's. Run by CTest before them (cmake -P), with
#   SOURCES  the project's scenes/ directory
#   ENGINE   the project's root, where framework/ is
#   WORK     where the copy and its build go
# A file is written only when its text differs, so that the build redoes only what changed since
# the last run, and a copy that a test left edited is put right.
cmake_minimum_required(VERSION 3.18)
file(GLOB sources RELATIVE ${SOURCES} ${SOURCES}/*.cpp ${SOURCES}/*.h ${SOURCES}/CMakeLists.txt)
file(GLOB stale RELATIVE ${WORK}/scenes ${WORK}/scenes/*)
foreach(name IN LISTS stale)
  if(NOT name IN_LIST sources)
    file(REMOVE ${WORK}/scenes/${name})
  endif()
endforeach()
foreach(name IN LISTS sources)
  configure_file(${SOURCES}/${name} ${WORK}/scenes/${name} COPYONLY)
endforeach()
if(NOT EXISTS ${WORK}/build/CMakeCache.txt)
  execute_process(COMMAND ${CMAKE_COMMAND} -S ${WORK}/scenes -B ${WORK}/build -DCMAKE_BUILD_TYPE=Release
                          -DENGINE_INCLUDE_DIR=${ENGINE} OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK}/build OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
