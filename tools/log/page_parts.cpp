#include "tools/log/page_parts.h"

namespace ravelo::logview {

const std::string_view page_head = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'; script-src 'unsafe-inline'">
<title>Governor log</title>
<style>
:root { color-scheme: light dark; --back: #fff; --card: #f4f6f8; --text: #1b1f24; --soft: #57606a;
  --line: #d0d7de; --force: #b42318; --nice: #b45309; --schedule: #1d6fb8; --warning: #8a6100;
  --error: #86198f; --c0: #1d6fb8; --c1: #b45309; --c2: #1a7f5a; --c3: #7c3aed; --c4: #b42378;
  --c5: #0f7c8a; --c6: #6e7781; }
@media screen and (prefers-color-scheme: dark) {
  :root { --back: #14181d; --card: #1d232a; --text: #e6e9ec; --soft: #a3adb8; --line: #38414b;
    --force: #ff7b6b; --nice: #f0a93b; --schedule: #5aa9f0; --warning: #d9b84a; --error: #e58cf0;
    --c0: #5aa9f0; --c1: #f0a93b; --c2: #45c492; --c3: #b794f6; --c4: #f07ab4; --c5: #4cc5d4;
    --c6: #9aa4af; } }
* { box-sizing: border-box; }
body { margin: 0 auto; max-width: 75rem; padding: 1rem; background: var(--back);
  color: var(--text); font: 1rem/1.45 system-ui, sans-serif; overflow-wrap: anywhere; }
h1 { font-size: 1.5rem; margin: 0; }
h2 { font-size: 1.15rem; margin: 2rem 0 .25rem; }
.note { color: var(--soft); margin: .25rem 0 .75rem; }
.tiles { display: grid; gap: .75rem; margin: 1rem 0;
  grid-template-columns: repeat(4, 1fr); }
.tiles div { background: var(--card); border-radius: .5rem; padding: .6rem .8rem; }
.tiles dt { color: var(--soft); font-size: .875rem; }
.tiles dd { margin: 0; font-size: 1.35rem; font-variant-numeric: tabular-nums; }
.legend { display: flex; flex-wrap: wrap; gap: .25rem 1rem; list-style: none; margin: 0 0 .5rem;
  padding: 0; font-size: .875rem; }
.legend i { display: inline-block; width: .75rem; height: .75rem; border-radius: 2px;
  margin-right: .4rem; }
.plot { display: grid; grid-template-columns: auto 1fr; column-gap: .5rem; }
.plot svg { display: block; width: 100%; height: 12rem; overflow: visible; }
.scale { display: flex; flex-direction: column; justify-content: space-between; margin: -.6em 0;
  text-align: right; }
.scale, .times { color: var(--soft); font-size: .8125rem; line-height: 1.2;
  font-variant-numeric: tabular-nums; }
.times { grid-column: 2; display: flex; justify-content: space-between; padding-top: .4rem; }
.grid { stroke: var(--line); stroke-width: 1px; vector-effect: non-scaling-stroke; fill: none; }
rect { stroke: var(--back); stroke-width: 1px; vector-effect: non-scaling-stroke; }
.legend i, rect { print-color-adjust: exact; -webkit-print-color-adjust: exact; }
.force { background: var(--force); fill: var(--force); }
.nice { background: var(--nice); fill: var(--nice); }
.schedule { background: var(--schedule); fill: var(--schedule); }
.c0 { background: var(--c0); fill: var(--c0); } .c1 { background: var(--c1); fill: var(--c1); }
.c2 { background: var(--c2); fill: var(--c2); } .c3 { background: var(--c3); fill: var(--c3); }
.c4 { background: var(--c4); fill: var(--c4); } .c5 { background: var(--c5); fill: var(--c5); }
.c6 { background: var(--c6); fill: var(--c6); }
.lists { display: grid; gap: 0 2.5rem; align-items: start;
  grid-template-columns: repeat(auto-fit, minmax(min(100%, 26rem), 1fr)); }
table { width: 100%; border-collapse: collapse; font-size: .875rem; }
th, td { text-align: left; vertical-align: top; padding: .35rem .5rem;
  border-bottom: 1px solid var(--line); }
thead th { color: var(--soft); font-weight: 600; border-bottom-width: 2px; }
tbody th { font-weight: 400; }
.n { text-align: right; font-variant-numeric: tabular-nums; white-space: nowrap; }
thead th { overflow-wrap: normal; }
.when { white-space: nowrap; font-variant-numeric: tabular-nums; }
.t { font-weight: 600; }
.FORCE { color: var(--force); } .NICE { color: var(--nice); } .SCHEDGRP { color: var(--schedule); }
.WARNING { color: var(--warning); } .ERROR { color: var(--error); }
form { display: flex; flex-wrap: wrap; gap: .5rem 1rem; align-items: end; margin: .5rem 0 .75rem; }
form[hidden], tr[hidden] { display: none !important; }
label { font-size: .875rem; color: var(--soft); }
input, select { display: block; min-height: 2.5rem; padding: .25rem .6rem; font: inherit;
  color: var(--text); background: var(--card); border: 1px solid var(--soft);
  border-radius: .35rem; max-width: 100%; }
output { color: var(--soft); font-size: .875rem; padding-bottom: .6rem; }
:focus-visible { outline: 3px solid var(--schedule); outline-offset: 1px; }
@media (max-width: 40rem) {
  .tiles { grid-template-columns: 1fr 1fr; }
  .times span:nth-child(even):not(:last-child) { display: none; }
  .figures th, .figures td { padding: .35rem .25rem; font-size: .8125rem; }
  .records thead { position: absolute; width: 1px; height: 1px; overflow: hidden;
    clip-path: inset(50%); }
  .records, .records tbody { display: block; }
  .records tr { display: flex; flex-wrap: wrap; gap: 0 .75rem; padding: .5rem 0;
    border-bottom: 1px solid var(--line); }
  .records th, .records td { border: 0; padding: .05rem 0; }
  .records td:last-child { flex-basis: 100%; }
  .records td:empty { display: none; }
  form label, input, select { width: 100%; } }
@media print { body { max-width: none; padding: 0; font-size: 10pt; } form { display: none; }
  section, tr { break-inside: avoid; } .list { break-inside: auto; } thead { display: table-header-group; } }
</style>
</head>
<body>
)";

const std::string_view page_end = R"(<script>
'use strict';
(() => {
  const form = document.querySelector('form');
  if (!form) return;
  const rows = Array.from(document.querySelectorAll('.records tbody tr'));
  const words = rows.map((row) => row.textContent.toLowerCase());
  const types = rows.map((row) => row.querySelector('.t').textContent);
  for (const type of Array.from(new Set(types)).sort()) form.type.add(new Option(type, type));
  const narrow = () => {
    const wanted = form.text.value.toLowerCase();
    const type = form.type.value;
    let shown = 0;
    rows.forEach((row, i) => {
      row.hidden = !((type === '' || types[i] === type) && words[i].includes(wanted));
      if (!row.hidden) ++shown;
    });
    form.shown.value = shown + ' of ' + rows.length + ' shown';
  };
  form.addEventListener('input', narrow);
  form.addEventListener('submit', (event) => event.preventDefault());
  form.hidden = false;
  narrow();
})();
</script>
</body>
</html>
)";

}  // namespace ravelo::logview
