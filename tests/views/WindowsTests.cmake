# The home, sign-in and pairing windows: their models and views, over fakes and the scripted service.
tavrin_add_test(tst_homewindow SOURCES tst_homewindow.cpp ViewChecks.h WindowFakes.h WindowReplies.h
  LIBRARIES tavrin_views tavrin_testsupport LABELS windows)
tavrin_add_test(tst_signinwindow SOURCES tst_signinwindow.cpp ViewChecks.h WindowFakes.h WindowReplies.h
  LIBRARIES tavrin_views tavrin_testsupport LABELS windows)
tavrin_add_test(tst_pairwindow SOURCES tst_pairwindow.cpp ViewChecks.h WindowReplies.h
  LIBRARIES tavrin_views tavrin_testsupport LABELS windows)
# The views draw off screen, so they run without a display.
set_tests_properties(tst_homewindow tst_signinwindow tst_pairwindow PROPERTIES ENVIRONMENT "QT_QPA_PLATFORM=offscreen")

# Not a test: shows a window in a chosen state, for screenshots (tests/views/screenshot-windows.sh).
add_executable(windows-gallery windows-gallery.cpp WindowFakes.h WindowReplies.h)
target_link_libraries(windows-gallery PRIVATE tavrin_views tavrin_testsupport)
tavrin_warnings(windows-gallery)

add_test(NAME desktop_entry COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/desktop-entry.sh ${CMAKE_SOURCE_DIR}/packaging/tavrin.desktop)
set_tests_properties(desktop_entry PROPERTIES LABELS windows)

if(TAVRIN_PORTABLE_ONLY)
  return()
endif()

# The browser sign-in, and every way in against the reference service.
tavrin_add_test(tst_signinservice SOURCES tst_signinservice.cpp WindowFakes.h
  LIBRARIES tavrin_app tavrin_service_testing LABELS windows)

# The desktop adapters behind the status rows, on a private session bus. The bus launcher writes the
# switch to the desktop settings too: those stay in memory.
find_package(Qt6 REQUIRED COMPONENTS DBus)
add_executable(tst_homeplatform tst_homeplatform.cpp)
target_link_libraries(tst_homeplatform PRIVATE tavrin_platform Qt6::DBus Qt6::Test)
tavrin_warnings(tst_homeplatform)
add_test(NAME tst_homeplatform COMMAND dbus-run-session -- $<TARGET_FILE:tst_homeplatform>)
set_tests_properties(tst_homeplatform PROPERTIES LABELS windows ENVIRONMENT "GSETTINGS_BACKEND=memory")
