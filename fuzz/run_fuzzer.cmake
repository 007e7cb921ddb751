# Runs libFuzzer targets from their seed corpora.
#
#   cmake -DMODE=smoke|long -DNAMES=<name;...> -DBIN_DIR=<dir> -DSEED_DIR=<dir>
#         -DWORK_DIR=<dir> [-DSMOKE_RUNS=<n>] -P run_fuzzer.cmake
#
# Target <name> is BIN_DIR/fuzz_<name>, its seeds SEED_DIR/<name>.
# smoke: SMOKE_RUNS inputs per target, mutating into a scratch corpus that
#   starts empty every time, so the seeds stay as generated.
# long:  $ENV{FUZZ_SECONDS} seconds per target (default 1800), one target
#   after the other; the corpus grows in WORK_DIR/corpus/<name> from run to
#   run, the log goes to WORK_DIR/logs/<name>.log and a crashing input to
#   WORK_DIR/artifacts/. Every target runs; the script fails at the end if
#   any of them found a crash.
cmake_minimum_required(VERSION 3.16)

foreach(var MODE NAMES BIN_DIR SEED_DIR WORK_DIR)
  if(NOT DEFINED ${var})
    message(FATAL_ERROR "run_fuzzer.cmake: ${var} is not set")
  endif()
endforeach()

set(common -rss_limit_mb=2048 -timeout=10 -print_final_stats=1)
file(MAKE_DIRECTORY ${WORK_DIR}/artifacts)

if(MODE STREQUAL "smoke")
  if(NOT DEFINED SMOKE_RUNS)
    set(SMOKE_RUNS 20000)
  endif()
  foreach(name IN LISTS NAMES)
    set(scratch ${WORK_DIR}/smoke/${name})
    file(REMOVE_RECURSE ${scratch})
    file(MAKE_DIRECTORY ${scratch})
    execute_process(
      COMMAND ${BIN_DIR}/fuzz_${name} ${common} -seed=1 -runs=${SMOKE_RUNS}
              -artifact_prefix=${WORK_DIR}/artifacts/smoke-${name}-
              ${scratch} ${SEED_DIR}/${name}
      RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
      message(FATAL_ERROR "fuzz_${name} failed (${status}); the input is in ${WORK_DIR}/artifacts")
    endif()
  endforeach()
elseif(MODE STREQUAL "long")
  set(seconds $ENV{FUZZ_SECONDS})
  if(NOT seconds)
    set(seconds 1800)
  endif()
  file(MAKE_DIRECTORY ${WORK_DIR}/logs)
  set(failed "")
  foreach(name IN LISTS NAMES)
    set(corpus ${WORK_DIR}/corpus/${name})
    file(MAKE_DIRECTORY ${corpus})
    message(STATUS "fuzz_${name}: ${seconds} s, log in ${WORK_DIR}/logs/${name}.log")
    execute_process(
      COMMAND ${BIN_DIR}/fuzz_${name} ${common} -max_total_time=${seconds}
              -artifact_prefix=${WORK_DIR}/artifacts/${name}-
              ${corpus} ${SEED_DIR}/${name}
      OUTPUT_FILE ${WORK_DIR}/logs/${name}.log
      ERROR_FILE ${WORK_DIR}/logs/${name}.log
      RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
      list(APPEND failed ${name})
      message(STATUS "fuzz_${name} FAILED (${status}); see its log and ${WORK_DIR}/artifacts")
    endif()
  endforeach()
  if(failed)
    message(FATAL_ERROR "fuzz targets that found a crash: ${failed}")
  endif()
else()
  message(FATAL_ERROR "run_fuzzer.cmake: MODE must be smoke or long, not '${MODE}'")
endif()
