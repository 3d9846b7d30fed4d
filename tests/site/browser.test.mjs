// The site in a browser.

import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { readFileSync } from "node:fs";
import { createRequire } from "node:module";
import { join } from "node:path";
import { after, before, test } from "node:test";
import { pathToFileURL } from "node:url";
import { cmnsys, folder, openSite } from "./site.mjs";

let site;
before(async () => {
  site = await openSite();
});
after(async () => {
  await site.close();
});

/** The names that a search finds, the best first. */
async function find(page, query) {
  if (!(await page.locator("site-search dialog").isVisible())) await page.keyboard.press("/");
  await page.locator("site-search input").fill(query);
  await page.locator("site-search [role=option], site-search [role=status]:not(.sr-only)").first().waitFor();
  return page.locator("site-search [role=option] .result-name > span").allTextContents();
}

test("search finds names before texts, numbers, and words of comments", async () => {
  const page = await site.open("index.html");
  for (const [query, first] of [
    ["Gid", "Gid"],
    ["ruleaction", "RuleAction"],
    ["Pb.CmnSys.Events.Event", "Event"],
    ["Pb::CmnSys::Events::Event", "Event"],
    ["/Pb.Rpc.SvcQuery.Query/Initiate", "Query.Initiate"],
    ["[Pb.CmnSys.Events.event_user_login]", "event_user_login"],
    ["originatingServerGid", "Event.originating_server_gid"],
    ["CmnSys.Iotas.proto", "Iotas"],
    ["5013", "EventType.EVENT_DEVICE_MOTION_START"],
    ["motion start", "EventDeviceMotionStart"],
    ["qqqq", undefined],
  ]) {
    assert.equal((await find(page, query))[0], first, query);
  }
  await find(page, "jiffies");
  assert.match(await page.locator("site-search .result-text").first().textContent(), /jiffies/);
});

test("search by keyboard leads to the element, from a plain folder too", async () => {
  for (const start of ["guides/json.html", pathToFileURL(join(folder, "guides/json.html")).href]) {
    const page = await site.open(start);
    await find(page, "5013");
    await page.keyboard.press("ArrowDown");
    await page.keyboard.press("ArrowUp");
    await page.keyboard.press("Enter");
    await page.waitForURL(/reference\/CmnSys\.Events\.html#EventType\.EVENT_DEVICE_MOTION_START$/);
    assert.match(await page.locator(":target").textContent(), /5013[^]*Motion started/);
  }
});

const event = { eventType: "EVENT_DEVICE_MOTION_START", "[Pb.CmnSys.Events.event_device_motion_start]": { deviceId: "gate-1" } };
const convert = (to) =>
  execFileSync(cmnsys, ["convert", "Event", "-", "--from", "json", "--to", to], { input: JSON.stringify(event) });

const rows = (page) => page.locator("#tree .row");

test("the decoder shows an event's payload from every form, and guesses the type", async () => {
  const page = await site.open("decoder.html");
  const bytes = convert("binary");
  for (const input of [
    bytes.toString("hex"),
    convert("hex").toString(),
    bytes.toString("base64"),
    JSON.stringify(event),
  ]) {
    await page.fill("#input", "");
    await page.locator("#result").waitFor({ state: "hidden" });
    await page.fill("#input", input);
    await page.locator("#result-type", { hasText: "Pb.CmnSys.Events.Event " }).waitFor();
    const device = rows(page).filter({ hasText: "device_id" });
    assert.match(await device.textContent(), /"gate-1"/);
    assert.equal(
      await device.locator("a").first().evaluate((link) => link.hash),
      "#EventDeviceMotionStart.device_id",
    );
    await device.locator(".place").focus();
    const lit = await page.locator("#bytes .lit").allTextContents();
    assert.equal(Buffer.from(lit.join(""), "hex").toString(), "gate-1");
  }
  await page.check("input[value=json]");
  assert.deepEqual(JSON.parse(await page.locator("#output").textContent()), event);
});

test("the decoder says what is wrong with bad input, and where", async () => {
  const page = await site.open("decoder.html");
  const hex = convert("binary").toString("hex");
  for (const [input, type, reason] of [
    [hex.slice(0, -4), "Pb.CmnSys.Events.Event", /at byte \d+, in event_device_motion_start.*bytes are announced/],
    ["78 95 2g", "", /“g” is no hexadecimal digit \(line 1, column 8\)/],
    ["0a 0", "Pb.CmnSys.Gid", /one digit only/],
    ["00000000: 0a02\n00000010: 3802", "", /^2 bytes stand before the offset 00000010 \(line 2, column 1\)/],
    ["0000000 020a", "", /order of the bytes in “020a”/],
    ["0f", "Pb.CmnSys.Gid", /at byte 0, wire type 7 does not exist/],
    ["{\n \"id\": }", "Pb.CmnSys.Gid", /not JSON: value expected \(line 2, column 8\)/],
    ['{"nosuch": 1}', "Pb.CmnSys.Gid", /nosuch/],
    ["08 01", "NoSuchType", /no message type “NoSuchType”/],
  ]) {
    await page.fill("#type", type);
    await page.fill("#input", input);
    await page.locator("#message", { hasText: reason }).waitFor();
  }
});

test("the decoder takes large input", async () => {
  const page = await site.open("decoder.html");
  for (const [input, count] of [
    ["0b0c".repeat(250_000), 3000],
    ["0a80807d" + "41".repeat(2_048_000), 1],
    ["0a00".repeat(250_000) + "0a02", 3000],
  ]) {
    await page.fill("#type", "Pb.CmnSys.Events.EventList");
    await page.fill("#input", "");
    await page.locator("#result").waitFor({ state: "hidden" });
    await page.evaluate((text) => {
      const element = document.querySelector("#input");
      element.value = text;
      element.dispatchEvent(new Event("input"));
    }, input);
    await page.locator("#result").waitFor();
    assert.equal(await page.locator("#tree > ul > li").count(), count);
  }
  assert.match(await page.locator("#message").textContent(), /at byte 500001, in events, 2 bytes are announced, 0 are left/);
});

const views = ["index.html", "events.html", "reference/CmnSys.Rules.html", "guides/cmnsys.html", "decoder.html"];

test("axe finds nothing serious, in the light and in the dark", { timeout: 1_800_000 }, async () => {
  const axe = readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");
  const serious = [];
  const check = async (page, where) => {
    await page.evaluate(axe);
    const { violations } = await page.evaluate(() => globalThis.axe.run());
    for (const { id, impact, nodes } of violations) {
      if (impact === "serious" || impact === "critical") serious.push(`${where}: ${id}: ${nodes[0].html}`);
    }
  };
  for (const colorScheme of ["light", "dark"]) {
    for (const path of views) {
      const page = await site.open(path, { colorScheme });
      if (path === "decoder.html") {
        await page.fill("#input", convert("binary").toString("hex"));
        await rows(page).first().waitFor();
      }
      await check(page, `${path}, ${colorScheme}`);
      if (path === "index.html") {
        await find(page, "motion");
        await check(page, `search, ${colorScheme}`);
      }
    }
  }
  assert.deepEqual(serious, []);
});

test("pages fit a phone", async () => {
  for (const path of [...views, "selectors.html", "services.html", "reference/CmnSys.Gid.html"]) {
    const page = await site.open(path, { viewport: { width: 360, height: 740 } });
    const wide = await page.evaluate(() => document.documentElement.scrollWidth - innerWidth);
    assert.ok(wide <= 0, `${path} is ${wide} pixels too wide`);
  }
});

test("the reference can be read without JavaScript", async () => {
  const page = await site.open("reference/CmnSys.Gid.html", { javaScriptEnabled: false });
  await page.getByText("Raw id of the data store").waitFor();
  await page.locator("summary", { hasText: "Example" }).first().click();
  await page.locator(".example pre").first().waitFor();
  assert.equal(await page.locator(".wire").first().isVisible(), false);
  await page.check("#show-wire");
  assert.match(await page.locator("[id='Gid.id'] .wire").textContent(), /0a/);
});

// The last test: what all the others met.
test("nothing failed to load, and no request left the site", () => {
  assert.deepEqual(site.problems, []);
});
