'use strict';
const search = document.getElementById('search');
const found = document.getElementById('found');
const items = [...document.querySelectorAll('[data-find]')];
const cards = items.filter((item) => item.matches('.card')).length;
search.addEventListener('input', () => {
  const words = search.value.toLowerCase().split(/\s+/).filter(Boolean);
  let shown = 0;
  for (const item of items) {
    item.hidden = !words.every((word) => item.dataset.find.includes(word));
    shown += !item.hidden && item.matches('.card') ? 1 : 0;
  }
  found.textContent = words.length ? `${shown} of ${cards} variables` : '';
});
for (const button of document.querySelectorAll('th button')) {
  button.addEventListener('click', () => {
    const head = button.closest('th');
    const up = head.getAttribute('aria-sort') !== 'ascending';
    for (const other of head.parentElement.children) other.removeAttribute('aria-sort');
    head.setAttribute('aria-sort', up ? 'ascending' : 'descending');
    const column = head.cellIndex;
    const number = head.matches('.number');
    const body = head.closest('table').tBodies[0];
    const value = (row) => {
      const text = row.cells[column].textContent;
      return number ? (text === '' ? -Infinity : parseFloat(text.replace('> ', ''))) : text.toLowerCase();
    };
    const rows = [...body.rows].map((row) => [value(row), row]);
    rows.sort(([a], [b]) => (a < b ? -1 : a > b ? 1 : 0) * (up ? 1 : -1));
    body.append(...rows.map(([, row]) => row));
  });
}
