#include "app/WebPages.h"

namespace WebPages {

std::optional<QUrl> address(const std::optional<AgentConfig>& config, Page page)
{
    QUrl url(config ? config->serverURL.trimmed() : defaultServerURL, QUrl::StrictMode);
    if (!url.isValid() || (url.scheme() != u"http" && url.scheme() != u"https") || url.host().isEmpty())
        return std::nullopt;
    QString path = url.path();
    if (!path.endsWith(QLatin1Char('/')))
        path += QLatin1Char('/');
    url.setPath(path + QStringLiteral("app"));
    if (page == Page::History)
        url.setFragment(QStringLiteral("history"));
    return url;
}

} // namespace WebPages
