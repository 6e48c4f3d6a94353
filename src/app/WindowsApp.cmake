# Sign-in through the browser.
target_sources(tavrin_app PRIVATE BrowserSignIn.cpp BrowserSignIn.h)
