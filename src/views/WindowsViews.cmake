# The home, sign-in and pairing windows and their models.
target_sources(tavrin_views PRIVATE
  HomeModel.cpp HomeModel.h
  SignInModel.cpp SignInModel.h WebAuthSession.h
)
