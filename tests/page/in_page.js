// SPDX-License-Identifier: Apache-2.0
// What the tests measure within the page: where texts are, and whether they can be read.
globalThis.measure = {
  /** Texts that are cut, that leave the window or the bay they are drawn in, or that overlap. */
  troubles() {
    const found = [];
    const boxes = [];
    const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
    while (walker.nextNode()) {
      const text = walker.currentNode;
      const parent = text.parentElement;
      if (!text.data.trim() || parent.closest("script,style,option,noscript")) continue;
      const range = document.createRange();
      range.selectNodeContents(text);
      const bay = parent.closest(".bay")?.querySelector("rect").getBoundingClientRect();
      for (const box of range.getClientRects()) {
        if (box.width < 1) continue;
        if (box.left < -0.5 || box.right > innerWidth + 0.5) found.push(`leaves the window: ${text.data}`);
        if (bay && (box.left < bay.left || box.right > bay.right || box.bottom > bay.bottom)) {
          found.push(`leaves its bay: ${text.data}`);
        }
        boxes.push({text, box});
      }
      for (let e = parent; e; e = e.parentElement) {
        if (getComputedStyle(e).overflowX !== "visible" && e.scrollWidth > e.clientWidth + 1) {
          found.push(`is cut: ${text.data}`);
        }
      }
    }
    boxes.sort((one, other) => one.box.top - other.box.top);
    boxes.forEach((one, i) => {
      for (let j = i + 1; j < boxes.length && boxes[j].box.top < one.box.bottom - 3; ++j) {
        const other = boxes[j];
        if (other.text !== one.text && other.box.left < one.box.right - 1 && one.box.left < other.box.right - 1) {
          found.push(`overlap: ${one.text.data} | ${other.text.data}`);
        }
      }
    });
    if (document.documentElement.scrollWidth > innerWidth) found.push("the page is wider than its window");
    return found;
  },
  /** Names and boxes, in pixels, of what a drawing of that name holds. */
  drawing(name) {
    return [...document.querySelectorAll(`svg[role=group][aria-label="${name}"] [role=img]`)].map((e) => {
      const shape = (e.querySelector("rect") ?? e).getBoundingClientRect();
      return {name: e.getAttribute("aria-label"), x: shape.x, y: shape.y, width: shape.width,
              height: shape.height, looks: e.getAttribute("class")};
    });
  },
};
