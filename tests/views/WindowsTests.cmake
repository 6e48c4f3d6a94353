# The home, sign-in and pairing windows.
tavrin_add_test(tst_homemodel SOURCES tst_homemodel.cpp WindowFakes.h
  LIBRARIES tavrin_views tavrin_testsupport LABELS windows)
# The desktop adapters behind the status rows, on a private session bus.
find_package(Qt6 REQUIRED COMPONENTS DBus)
add_executable(tst_homeplatform tst_homeplatform.cpp)
target_link_libraries(tst_homeplatform PRIVATE tavrin_desktop_status Qt6::DBus Qt6::Test)
tavrin_warnings(tst_homeplatform)
add_test(NAME tst_homeplatform COMMAND dbus-run-session -- $<TARGET_FILE:tst_homeplatform>)
set_tests_properties(tst_homeplatform PROPERTIES LABELS windows)
# The bus launcher writes the switch to the desktop settings too: keep those in memory.
set_tests_properties(tst_homeplatform PROPERTIES ENVIRONMENT "GSETTINGS_BACKEND=memory")
tavrin_add_test(tst_signinmodel SOURCES tst_signinmodel.cpp WindowFakes.h
  LIBRARIES tavrin_views tavrin_testsupport LABELS windows)
tavrin_add_test(tst_signinbrowser SOURCES tst_signinbrowser.cpp
  LIBRARIES tavrin_app tavrin_testsupport LABELS windows)
tavrin_add_test(tst_signinservice SOURCES tst_signinservice.cpp WindowFakes.h
  LIBRARIES tavrin_app tavrin_service_testing LABELS windows)
tavrin_add_test(tst_pairmodel SOURCES tst_pairmodel.cpp LIBRARIES tavrin_views tavrin_testsupport LABELS windows)
add_test(NAME desktop_entry COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/desktop-entry.sh ${CMAKE_SOURCE_DIR}/packaging/tavrin.desktop)
set_tests_properties(desktop_entry PROPERTIES LABELS windows)
# Not a test: shows a window in a chosen state, for screenshots.
add_executable(windows-gallery windows-gallery.cpp WindowFakes.h)
target_link_libraries(windows-gallery PRIVATE tavrin_views tavrin_testsupport)
tavrin_warnings(windows-gallery)
