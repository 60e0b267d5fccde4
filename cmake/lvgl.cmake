# LVGL 9.4 as a dependency: the v9.4.0 tag of the upstream repository, or the local source
# folder /usr/local/src/lvgl-9.4.0 when it exists (no download then). Our lv_conf.h lives in
# app/lv_conf.
include(FetchContent)

set(SERVO_LVGL_LOCAL_DIR "/usr/local/src/lvgl-9.4.0" CACHE PATH "Local LVGL 9.4.0 source folder")
if(EXISTS "${SERVO_LVGL_LOCAL_DIR}/lvgl.h" AND NOT FETCHCONTENT_SOURCE_DIR_LVGL)
    set(FETCHCONTENT_SOURCE_DIR_LVGL "${SERVO_LVGL_LOCAL_DIR}" CACHE PATH "LVGL source" FORCE)
endif()

set(LV_BUILD_CONF_DIR "${PROJECT_SOURCE_DIR}/app/lv_conf" CACHE PATH "" FORCE)
set(CONFIG_LV_BUILD_EXAMPLES OFF CACHE BOOL "" FORCE)
set(CONFIG_LV_BUILD_DEMOS OFF CACHE BOOL "" FORCE)
set(CONFIG_LV_USE_THORVG_INTERNAL OFF CACHE BOOL "" FORCE)
set(CONFIG_LV_USE_PRIVATE_API OFF CACHE BOOL "" FORCE)

FetchContent_Declare(lvgl
    GIT_REPOSITORY https://github.com/lvgl/lvgl.git
    GIT_TAG v9.4.0
    GIT_SHALLOW TRUE)
FetchContent_MakeAvailable(lvgl)

# LVGL is third-party code: its own warnings stay out of our output (its headers are already
# system headers for us).
target_compile_options(lvgl PRIVATE -w)
