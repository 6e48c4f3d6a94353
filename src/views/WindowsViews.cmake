# The home, sign-in and pairing windows and their models.
find_package(PkgConfig REQUIRED)
pkg_check_modules(TAVRIN_QRENCODE REQUIRED IMPORTED_TARGET libqrencode)
target_sources(tavrin_views PRIVATE
  HomeModel.cpp HomeModel.h HomeView.cpp HomeView.h
  PairModel.cpp PairModel.h PairView.cpp PairView.h
  QrImage.cpp QrImage.h
  SignInModel.cpp SignInModel.h SignInView.cpp SignInView.h WebAuthSession.h
  WindowParts.cpp WindowParts.h
)
target_link_libraries(tavrin_views PUBLIC tavrin_client PRIVATE PkgConfig::TAVRIN_QRENCODE)
