// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/front_page.h"

namespace Tulvo::Exporter {

std::string FrontPageOf(std::size_t hosts)
{
    return "<!DOCTYPE html>\n"
           "<html lang=\"en\">\n"
           "<head><meta charset=\"utf-8\"><title>vkt-exporter</title></head>\n"
           "<body>\n"
           "<h1>vkt-exporter " VKT_VERSION
           "</h1>\n"
           "<p>Reads enclosures for Prometheus; the fleet file has " +
           std::to_string(hosts) +
           ".</p>\n"
           "<ul>\n"
           "<li><a href=\"sd\">/sd</a>: the enclosures, for HTTP service discovery</li>\n"
           "<li><a href=\"metrics\">/metrics</a>: the exporter's own metrics</li>\n"
           "<li><a href=\"-/healthy\">/-/healthy</a>, <a href=\"-/ready\">/-/ready</a></li>\n"
           "</ul>\n"
           "<form action=\"probe\">\n"
           "<label>/probe?target= <input name=\"target\" required></label>\n"
           "<label><input type=\"checkbox\" name=\"debug\" value=\"true\"> with its log</label>\n"
           "<button>Read</button>\n"
           "</form>\n"
           "</body>\n"
           "</html>\n";
}

std::vector<std::pair<std::string, std::string>> FrontPageHeaders()
{
    return {{"Content-Security-Policy",
             "default-src 'none'; form-action 'self'; base-uri 'none'; frame-ancestors 'none'"}};
}

}  // namespace Tulvo::Exporter
