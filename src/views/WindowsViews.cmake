# The home, sign-in and pairing windows and their models.
# libqrencode is portable C, found by its header and library: the portable layers configure without
# pkg-config's help.
find_path(TAVRIN_QRENCODE_INCLUDE_DIR qrencode.h REQUIRED)
find_library(TAVRIN_QRENCODE_LIBRARY qrencode REQUIRED)
target_sources(tavrin_views PRIVATE
  HomeModel.cpp HomeModel.h HomeView.cpp HomeView.h
  PairModel.cpp PairModel.h PairView.cpp PairView.h
  QrImage.cpp QrImage.h
  SignInModel.cpp SignInModel.h SignInView.cpp SignInView.h WebAuthSession.h
  WindowParts.cpp WindowParts.h
)
target_link_libraries(tavrin_views PUBLIC tavrin_client tavrin_desktop PRIVATE ${TAVRIN_QRENCODE_LIBRARY})
target_include_directories(tavrin_views PRIVATE ${TAVRIN_QRENCODE_INCLUDE_DIR})
