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
