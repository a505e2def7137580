#include "report/Style.h"

namespace report {

std::string drawingStyle(bool withDark) {
  const std::string light =
      "--paper:#fff;--ink:#1f2937;--faint:#5b6472;--pale:#d1d5db;--wash:#eef0f3;"
      "--amp:#c2410c;--filt:#1d4ed8;--sure:#15803d;--doubt:#b45309;--miss:#b91c1c;--band:#dbe7fd;";
  const std::string dark =
      "--paper:#111827;--ink:#e5e7eb;--faint:#a3abb8;--pale:#4b5563;--wash:#1f2937;"
      "--amp:#fb923c;--filt:#60a5fa;--sure:#4ade80;--doubt:#fbbf24;--miss:#f87171;--band:#1e3a66;";
  std::string style = ":root{" + light + "}\n";
  if (withDark) {
    style += "@media screen and (prefers-color-scheme:dark){:root{" + dark + "}}\n";
  }
  return style +
         "svg{fill:none}\n"
         ".text{fill:var(--ink)}.faint-text{fill:var(--faint)}.amp-text{fill:var(--amp)}"
         ".filt-text{fill:var(--filt)}.doubt-text{fill:var(--doubt)}.miss-text{fill:var(--miss)}"
         ".bold{font-weight:bold}\n"
         ".ink{stroke:var(--ink)}.faint{stroke:var(--faint)}.pale{stroke:var(--pale)}"
         ".amp{stroke:var(--amp);stroke-linejoin:round}.amp-fill{fill:var(--amp);fill-opacity:.1}"
         ".filt{stroke:var(--filt);stroke-linejoin:round}.fill{fill:var(--ink)}"
         ".wash{fill:var(--wash)}\n"
         ".frame{fill:var(--paper);stroke:var(--pale)}"
         ".frame-doubtful{fill:var(--paper);stroke:var(--doubt);stroke-width:2}"
         ".frame-missing{fill:var(--paper);stroke:var(--miss);stroke-dasharray:5 4}"
         ".mark{fill:var(--doubt);fill-opacity:.18;stroke:var(--doubt);stroke-dasharray:2 2}\n";
}

std::string pageStyle() {
  return R"(
*{box-sizing:border-box}
body{margin:0 auto;max-width:1180px;padding:16px;background:var(--paper);color:var(--ink);
font:16px/1.5 system-ui,Helvetica,Arial,sans-serif}
h1,h2,h3,li{overflow-wrap:anywhere}
h1{font-size:1.5rem;margin:0 0 4px}h2{font-size:1.2rem;margin:36px 0 8px}h3{font-size:1rem;margin:20px 0 4px}
p{margin:0 0 8px}.advice{font-size:1.1rem}.quiet{color:var(--faint);font-size:.9rem}
ol,ul{margin:0;padding-left:1.4em}li{margin-bottom:8px}
svg{font-family:Helvetica,Arial,sans-serif;display:block}
#definitions{position:absolute;width:0;height:0}
.cards{display:grid;grid-template-columns:repeat(auto-fill,minmax(124px,1fr));gap:10px;margin:12px 0}
.card{scroll-margin:12px;font-size:.75rem;color:var(--doubt)}.card svg{width:100%;height:auto}
@media (min-width:1000px){.cards{grid-template-columns:repeat(8,1fr)}}
@media print{body{max-width:none;padding:0;font-size:11pt;-webkit-print-color-adjust:exact;
print-color-adjust:exact}.card,li{break-inside:avoid}.cards{grid-template-columns:repeat(8,1fr);gap:4px}}
)";
}

}  // namespace report
