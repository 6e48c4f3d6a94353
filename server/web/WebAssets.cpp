#include "WebAssets.h"

#include "WebForm.h"

#include <httplib.h>

namespace WebAssets {

namespace {

const char* const markPath =
    "M23.6 14.4C23.6 8.8 19.8 5 14.2 5C8.6 5 4.8 8.8 4.8 14.4C4.8 20 8.6 23.8 14.2 23.8"
    "L18.3 23.8M17.7 17.7L26.8 26.8M21.6 26.8L26.8 26.8L26.8 21.6";

// The palette of the desktop windows, light and dark, following the browser's choice.
const char* const style = R"css(:root {
  color-scheme: light dark;
  --page: #f5f5f5; --card: #fff; --muted: #f5f5f5; --muted-fg: #737373; --fg: #0a0a0a;
  --border: #e5e5e5; --primary: #0a0a0a; --primary-fg: #fafafa; --destructive: #e7000b;
}
@media (prefers-color-scheme: dark) {
  :root {
    --page: #0a0a0a; --card: #171717; --muted: #262626; --muted-fg: #a1a1a1; --fg: #fafafa;
    --border: rgba(255, 255, 255, .1); --primary: #fafafa; --primary-fg: #0a0a0a; --destructive: #ff6467;
  }
}
* { box-sizing: border-box; }
html { -webkit-text-size-adjust: 100%; }
body {
  margin: 0; background: var(--page); color: var(--fg);
  font: 15px/1.5 system-ui, -apple-system, "Segoe UI", "Cantarell", "Noto Sans", sans-serif;
}
a { color: inherit; text-underline-offset: 2px; }
:focus-visible { outline: 2px solid var(--fg); outline-offset: 2px; }
input:focus-visible { outline-offset: 1px; }
.skip { position: absolute; left: -999px; top: 0; }
.skip:focus { left: 8px; top: 8px; background: var(--card); padding: 6px 10px; z-index: 1; }
.visually-hidden {
  position: absolute; width: 1px; height: 1px; overflow: hidden; clip: rect(0 0 0 0); white-space: nowrap;
}
.mark { width: 28px; height: 28px; flex: none; }
.mark path { fill: none; stroke: currentColor; stroke-width: 2.35; stroke-linecap: round; stroke-linejoin: round; }

.top {
  display: flex; align-items: center; gap: 12px; padding: 10px 20px;
  background: var(--card); border-bottom: 1px solid var(--border);
}
.brand { display: flex; align-items: center; gap: 8px; font-weight: 600; font-size: 17px; text-decoration: none; }
.who { margin-left: auto; color: var(--muted-fg); font-size: 13px; overflow: hidden; text-overflow: ellipsis; white-space: nowrap; min-width: 0; }
.top form { margin: 0; flex: none; }

main { max-width: 46rem; margin: 0 auto; padding: 24px 16px 48px; }
main.narrow { max-width: 25rem; padding-top: 8vh; }
h1 { font-size: 22px; line-height: 1.3; margin: 12px 0 4px; }
h2 { font-size: 17px; margin: 0 0 4px; }
p { margin: 0 0 12px; }
.lead, .hint { color: var(--muted-fg); }
.hint { font-size: 13px; }
.card {
  background: var(--card); border: 1px solid var(--border); border-radius: 12px;
  padding: 20px; margin: 0 0 16px;
}
.card > header { margin-bottom: 12px; }
.card > :last-child { margin-bottom: 0; }
form + .hint { margin-top: 16px; }
.card > header p { margin: 0; }

label { display: block; font-size: 13px; font-weight: 500; margin: 12px 0 4px; }
input[type=email], input[type=password], input[type=text], input[type=search] {
  width: 100%; font: inherit; font-size: 15px; color: var(--fg); background: var(--card);
  border: 1px solid var(--border); border-radius: 8px; padding: 7px 10px; min-height: 38px;
}
input::placeholder { color: var(--muted-fg); }
button {
  font-family: inherit; font-size: 13px; font-weight: 500; line-height: 1; min-height: 34px; padding: 0 14px; border-radius: 8px;
  cursor: pointer; border: 1px solid transparent; transition: transform .12s, opacity .12s, background .12s;
}
button:active { transform: scale(.96); }
.primary { background: var(--primary); color: var(--primary-fg); }
.primary:active { opacity: .85; }
.outline { background: var(--card); color: var(--fg); border-color: var(--border); padding: 0 12px; }
.outline:active { background: var(--muted); }
.outline.destructive { color: var(--destructive); }
.wide { width: 100%; margin-top: 16px; min-height: 38px; }
.or { display: flex; align-items: center; gap: 12px; color: var(--muted-fg); font-size: 13px; margin: 20px 0 4px; }
.or::before, .or::after { content: ""; flex: 1; border-top: 1px solid var(--border); }
.alert {
  border: 1px solid var(--destructive); color: var(--destructive); border-radius: 8px;
  padding: 8px 12px; margin: 12px 0;
}
.note { background: var(--muted); border-radius: 8px; padding: 12px 14px; margin: 0; }
code, .code { font-family: ui-monospace, "DejaVu Sans Mono", monospace; }

.facts { display: grid; grid-template-columns: max-content 1fr; gap: 6px 24px; margin: 0; }
.facts dt { color: var(--muted-fg); }
.facts dd { margin: 0; overflow-wrap: anywhere; }

.rows { list-style: none; margin: 0; padding: 0; }
.rows > li { display: flex; align-items: center; gap: 12px; padding: 12px 0; border-top: 1px solid var(--border); }
.rows > li:first-child { border-top: 0; padding-top: 0; }
.rows > li:last-child { padding-bottom: 0; }
.grow { flex: 1; min-width: 0; }
.rows form { margin: 0; flex: none; }
.name { font-weight: 500; overflow-wrap: anywhere; }
.badge {
  display: inline-block; font-size: 11px; font-weight: 500; padding: 1px 7px; margin-left: 6px;
  border: 1px solid var(--border); border-radius: 999px; color: var(--muted-fg); vertical-align: 1px;
}

.pairing { display: flex; gap: 20px; align-items: center; flex-wrap: wrap; margin-top: 16px; }
.qr { width: 168px; height: 168px; border-radius: 8px; border: 1px solid var(--border); flex: none; }
.pairing .code { font-size: 28px; font-weight: 600; letter-spacing: .08em; margin: 0 0 4px; }
.expired .qr { opacity: .15; }

.search { display: flex; gap: 8px; margin: 12px 0 0; }
.search input { flex: 1; min-width: 0; }
.search button { min-height: 38px; }
.asks { list-style: none; margin: 16px 0 0; padding: 0; }
.asks > li { border-top: 1px solid var(--border); padding: 14px 0; }
.asks > li:last-child { padding-bottom: 0; }
.ask-head { display: flex; align-items: center; gap: 12px; }
.ask-meta { font-size: 13px; color: var(--muted-fg); display: flex; flex-wrap: wrap; }
.ask-meta span { white-space: nowrap; }
.ask-meta span + span::before { content: "·"; margin: 0 6px; }
.request { font-weight: 500; margin: 4px 0; overflow-wrap: anywhere; }
.answer { margin: 0; white-space: pre-wrap; overflow-wrap: anywhere; color: var(--fg); }
.history-foot { display: flex; justify-content: space-between; align-items: center; gap: 12px; margin-top: 16px; flex-wrap: wrap; }
.history-foot form { margin: 0; }

@media (max-width: 560px) {
  .top { padding: 10px 14px; }
  main { padding: 16px 12px 40px; }
  .card { padding: 16px; border-radius: 10px; }
  .rows > li { flex-wrap: wrap; }
  .rows > li form { width: 100%; }
  .rows > li form button { width: 100%; }
  .pairing { justify-content: center; text-align: center; }
}
)css";

// Small enhancements; every page works without them. Times in the reader's own zone, the pairing code's
// countdown, a question before everything is deleted, and the page's place kept across sign-in.
const char* const script = R"js("use strict";
(function () {
  for (const time of document.querySelectorAll("time[datetime]")) {
    const when = new Date(time.getAttribute("datetime"));
    if (!isNaN(when)) time.textContent = when.toLocaleString([], { dateStyle: "medium", timeStyle: "short" });
  }

  const countdown = document.getElementById("countdown");
  if (countdown) {
    const ends = Date.now() + Number(countdown.dataset.seconds) * 1000;
    const pairing = document.getElementById("pairing-code");
    const tick = function () {
      const left = Math.max(0, Math.round((ends - Date.now()) / 1000));
      if (left === 0) {
        countdown.textContent = "This code has expired. Make a new one.";
        pairing.classList.add("expired");
        return;
      }
      const minutes = Math.floor(left / 60), seconds = String(left % 60).padStart(2, "0");
      countdown.textContent = "Expires in " + minutes + ":" + seconds;
      setTimeout(tick, 1000);
    };
    tick();
  }

  for (const form of document.querySelectorAll("form[data-confirm]")) {
    form.addEventListener("submit", function (event) {
      if (!window.confirm(form.dataset.confirm)) event.preventDefault();
    });
  }

  if (location.hash) {
    for (const form of document.querySelectorAll("form[data-keep-place]")) {
      form.action += location.hash;
      for (const button of form.querySelectorAll("button[formaction]")) button.formAction += location.hash;
    }
  }
})();
)js";

void serve(httplib::Response& response, const char* body, const char* type)
{
    WebForm::secure(response);
    // Served from the binary, so they change only with it; a short cache spares repeated fetches.
    response.set_header("Cache-Control", "max-age=300");
    response.set_content(body, type);
}

} // namespace

void install(httplib::Server& server)
{
    server.Get("/web/style.css", [](const httplib::Request&, httplib::Response& response) {
        serve(response, style, "text/css; charset=utf-8");
    });
    server.Get("/web/pages.js", [](const httplib::Request&, httplib::Response& response) {
        serve(response, script, "text/javascript; charset=utf-8");
    });
    server.Get("/web/mark.svg", [](const httplib::Request&, httplib::Response& response) {
        static const std::string icon =
            std::string(
                "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 32 32\"><path fill=\"none\" "
                "stroke=\"#737373\" stroke-width=\"2.35\" stroke-linecap=\"round\" stroke-linejoin=\"round\" "
                "d=\"") +
            markPath + "\"/></svg>";
        serve(response, icon.c_str(), "image/svg+xml");
    });
}

QString mark()
{
    return QStringLiteral(
               "<svg class=\"mark\" viewBox=\"0 0 32 32\" aria-hidden=\"true\" focusable=\"false\">"
               "<path d=\"%1\"/></svg>")
        .arg(QLatin1String(markPath));
}

} // namespace WebAssets
