"use strict";
const data = JSON.parse(document.getElementById("data").textContent);
const worst = document.getElementById("worst");
const articles = [...worst.querySelectorAll("article")];
const readout = document.querySelector(".readout");

// Elements: make("p", { class: "note" }, "text", child)
function make(name, attributes = {}, ...children) {
  const element = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) element.setAttribute(key, value);
  element.append(...children);
  return element;
}
function draw(name, attributes) {
  const element = document.createElementNS("http://www.w3.org/2000/svg", name);
  for (const [key, value] of Object.entries(attributes)) element.setAttribute(key, value);
  return element;
}

// ---- The worst frames

let chosen = 0;
function choose(index) {
  chosen = index;
  articles.forEach((article, i) => { article.hidden = i !== index; });
  worst.querySelectorAll(".tabs button").forEach((tab, i) => {
    tab.setAttribute("aria-selected", i === index);
    tab.tabIndex = i === index ? 0 : -1;
  });
  document.querySelectorAll(".worst-mark").forEach((mark) => {
    mark.classList.toggle("chosen", Number(mark.dataset.index) === index);
  });
}

function makeTabs() {
  const tabs = make("div", { class: "tabs", role: "tablist" });
  articles.forEach((article, i) => {
    const tab = make("button", { type: "button", role: "tab", "aria-controls": article.id },
      article.dataset.name, make("small", {}, article.dataset.psnr));
    tab.addEventListener("click", () => choose(i));
    tabs.append(tab);
  });
  tabs.addEventListener("keydown", (event) => {
    const step = { ArrowLeft: -1, ArrowRight: 1 }[event.key];
    if (!step) return;
    choose((chosen + step + articles.length) % articles.length);
    tabs.children[chosen].focus();
  });
  worst.querySelector(".controls").before(tabs);
}

function moveTo(percent) {
  const cut = Math.min(100, Math.max(0, percent));
  // A picture that begins within a pixel of the screen would show a trace of the other one.
  worst.style.setProperty("--cut", cut === 0 ? "-1%" : cut + "%");
  worst.classList.toggle("whole", cut === 0 || cut === 100);
  document.getElementById("cut").value = cut;
}

// A picture can be dragged too, if it has not to be scrolled.
function dragOn(stage) {
  const follow = (event) => {
    const box = stage.getBoundingClientRect();
    moveTo(100 * (event.clientX - box.left) / box.width);
  };
  stage.addEventListener("pointerdown", (event) => {
    if (event.button !== 0 || (event.pointerType !== "mouse" && worst.matches(".zoomed"))) return;
    event.preventDefault();
    stage.setPointerCapture(event.pointerId);
    follow(event);
  });
  stage.addEventListener("pointermove", (event) => {
    if (stage.hasPointerCapture(event.pointerId)) follow(event);
  });
}

function startViewer() {
  worst.classList.add("scripted");
  for (const part of worst.querySelectorAll(".controls, .slider")) part.hidden = false;
  makeTabs();
  document.getElementById("cut").addEventListener("input", (event) => moveTo(+event.target.value));
  const right = document.getElementById("right"), gain = document.getElementById("gain");
  const showRight = () => {
    worst.classList.toggle("differs", right.value === "difference");
    document.getElementById("right-name").textContent = right.value;
    gain.parentElement.hidden = right.value !== "difference";
    worst.style.setProperty("--gain", gain.value);
  };
  right.addEventListener("change", showRight);
  gain.addEventListener("change", showRight);
  showRight();
  document.getElementById("zoom").addEventListener("change", ({ target }) => {
    worst.classList.toggle("zoomed", target.value !== "fit");
    if (target.value !== "fit") worst.style.setProperty("--zoom", target.value);
  });
  worst.querySelectorAll(".stage").forEach(dragOn);
  moveTo(50);
  choose(0);
}

// ---- The curves

const margin = { left: 56, right: 10, top: 10, bottom: 20 };
const charts = [];
let cursor = null;

// Round steps, at most `most` of them, that cover low to high.
function ticks(low, high, most) {
  const raw = (high - low) / Math.max(most, 1) || 1;
  const power = 10 ** Math.floor(Math.log10(raw));
  const step = [1, 2, 5, 10].map((n) => n * power).find((n) => n >= raw * 0.9999);
  const all = [];
  for (let i = Math.ceil(low / step - 1e-9); i * step <= high + step * 1e-9; ++i) {
    all.push(i * step + 0);  // never -0
  }
  return { step, all };
}

const count = (n) => Math.round(n).toLocaleString("en-US");
const seconds = (frame) => (frame * data.rateDen / data.rateNum).toFixed(2) + " s";
const sizeName = (n) => (n >= 1e6 ? +(n / 1e6).toPrecision(4) + " MB"
  : n >= 1e3 ? +(n / 1e3).toPrecision(4) + " kB" : n + " B");

// Where nothing differs there is no figure (null): the curve is at the top.
function limitsOf(chart) {
  const values = chart.series.flatMap((s) => [...s.low ?? [], ...s.high ?? [], ...s.mean])
    .filter((v) => v !== null);
  if (values.length === 0) return { low: 0, high: 1 };
  const high = Math.max(...values), low = chart.fromZero ? 0 : Math.min(...values);
  const air = Math.max((high - low) * 0.06, chart.air);
  return { low: chart.fromZero ? 0 : low - air, high: high + air };
}

function frameSpan(i) {
  const first = i * data.perPoint;
  return [first, Math.min(first + data.perPoint, data.frames) - 1];
}

function render(chart) {
  const width = chart.element.clientWidth, height = 200;
  const { low, high } = limitsOf(chart);
  const bottom = height - margin.bottom, across = width - margin.left - margin.right;
  const x = (frame) => margin.left + across * (frame + 0.5) / data.frames;
  const y = (v) => (v === null ? margin.top
    : bottom - (bottom - margin.top) * (v - low) / (high - low));
  const svg = draw("svg", { role: "img", tabindex: 0, "aria-label": chart.title });
  for (const value of ticks(low, high, 5).all) {
    svg.append(draw("path", { class: "grid", d: `M${margin.left} ${y(value)}H${width - margin.right}` }));
    const text = draw("text", { x: margin.left - 8, y: y(value) + 4, "text-anchor": "end" });
    text.textContent = chart.tick(value);
    svg.append(text);
  }
  if (chart.series.some((series) => series.mean.includes(null))) {
    const text = draw("text", { x: margin.left - 8, y: margin.top + 4, "text-anchor": "end" });
    text.textContent = "inf";
    svg.append(text);
  }
  for (const frame of ticks(0, data.frames - 1, across / 70).all) {
    if (frame !== Math.round(frame)) continue;
    const text = draw("text", { x: x(frame), y: height - 4, "text-anchor": "middle" });
    text.textContent = count(frame);
    svg.append(text);
  }
  // The first one is on top.
  for (const series of [...chart.series].reverse()) drawSeries(svg, series, x, y);
  chart.x = x;
  chart.line = draw("path", { class: "cursor", visibility: "hidden" });
  svg.append(chart.line);
  if (chart.marks) drawMarks(svg, chart, x, y);
  listen(svg, across);
  chart.element.querySelector("svg")?.remove();
  chart.element.append(svg);
}

function drawSeries(svg, series, x, y) {
  const at = (i) => x((frameSpan(i)[0] + frameSpan(i)[1]) / 2).toFixed(1);
  const line = (values) => values.map((v, i) => `${at(i)} ${y(v).toFixed(1)}`);
  const colour = `--colour: var(--${series.colour})`;
  if (series.low && data.perPoint > 1) {
    const d = `M${line(series.high).join("L")}L${line(series.low).reverse().join("L")}Z`;
    svg.append(draw("path", { class: "spread", style: colour, d }));
  }
  const end = series.mean.length === 1 ? "h4" : "";
  svg.append(draw("path", { class: "mean", style: colour, d: `M${line(series.mean).join("L")}${end}` }));
}

function drawMarks(svg, chart, x, y) {
  data.worst.forEach(({ frame, psnr }, index) => {
    const mark = draw("circle", { class: "worst-mark", cx: x(frame), cy: y(psnr), r: 4.5 });
    mark.dataset.index = index;
    mark.classList.toggle("chosen", index === chosen);
    const title = draw("title", {});
    title.textContent = articles[index].dataset.name + ", " + articles[index].dataset.psnr;
    mark.append(title);
    mark.addEventListener("click", () => choose(index));
    svg.append(mark);
  });
}

function pointAt(i) {
  const last = charts[0].series[0].mean.length - 1;
  cursor = Math.min(last, Math.max(0, i));
  const [first, end] = frameSpan(cursor);
  for (const chart of charts) {
    chart.line.setAttribute("d", `M${chart.x((first + end) / 2)} ${margin.top}V${200 - margin.bottom}`);
    chart.line.setAttribute("visibility", "visible");
  }
  const where = first === end ? `frame ${count(first)}` : `frames ${count(first)} to ${count(end)}, means`;
  const figures = charts.flatMap((chart) => chart.series.map((series) =>
    `${series.name} ${chart.value(series.mean[cursor])}`));
  readout.textContent = `${where} (${seconds(first)}): ${figures.join(", ")}`;
}

function listen(svg, across) {
  svg.addEventListener("pointermove", (event) => {
    const left = event.clientX - svg.getBoundingClientRect().left - margin.left;
    pointAt(Math.floor(left / across * data.frames / data.perPoint));
  });
  svg.addEventListener("keydown", (event) => {
    const step = { ArrowLeft: -1, ArrowRight: 1, PageUp: -10, PageDown: 10 }[event.key];
    if (!step) return;
    event.preventDefault();
    pointAt(cursor === null ? 0 : cursor + step);
  });
}

function addChart(chart) {
  chart.element = document.getElementById(chart.id);
  const heading = make("h3", {}, chart.title);
  for (const series of chart.series) {
    heading.append(make("span", { style: `--colour: var(--${series.colour})` }, series.name));
  }
  chart.element.append(heading);
  charts.push(chart);
}

function startCurves() {
  document.getElementById("curves").hidden = false;
  const decibels = (v) => (v === null ? "identical" : v.toFixed(2) + " dB");
  addChart({ id: "psnr", title: "PSNR, dB", air: 0.5, marks: true, tick: (v) => +v.toFixed(2),
    value: decibels, series: data.psnr });
  if (data.sizes.length > 0) {
    addChart({ id: "size", title: "Size of a frame", fromZero: true, air: 1, tick: sizeName,
      value: (v) => count(v) + " bytes", series: data.sizes });
  }
  const renderAll = () => charts.forEach(render);
  renderAll();
  let width = innerWidth;
  addEventListener("resize", () => {
    if (innerWidth === width) return;
    width = innerWidth;
    renderAll();
    if (cursor !== null) pointAt(cursor);
  });
}

if (data.frames > 0) {
  startViewer();
  startCurves();
}
