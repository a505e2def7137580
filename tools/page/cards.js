/** The 40 presets as cards. One can be chosen, and is described in words. */
export class Cards {
  #place = document.getElementById("cards");
  #buttons = [];
  #chosen = -1;

  /** `onChoose(record)` is called when the user chooses a card. */
  constructor(onChoose) {
    this.onChoose = onChoose;
  }

  /** Shows the cards that the worker made of the presets of the report. */
  show(cards, presets) {
    this.cards = cards;
    this.presets = presets;
    this.#buttons = cards.map((card, record) => this.#button(card, record));
    this.#place.replaceChildren(...this.#buttons);
    this.choose(this.#chosen);
  }

  /** Forgets which card was chosen. */
  reset() {
    this.#chosen = -1;
  }

  #button({ drawing, note }, record) {
    const button = document.createElement("button");
    button.type = "button";
    button.className = "card";
    // The drawing is made by the core and holds nothing but its own words.
    button.innerHTML = drawing;
    button.append(note);
    button.addEventListener("click", () => {
      this.choose(record);
      this.onChoose(record);
    });
    return button;
  }

  /** Marks a card and shows its settings; -1 for none. */
  choose(record) {
    this.#chosen = record;
    this.#buttons.forEach((button, i) => button.setAttribute("aria-pressed", i === record));
    document.getElementById("preset").hidden = record < 0;
    if (record < 0) {
      return;
    }
    const { group, number, verdict } = this.presets[record];
    const { reason, doubtfulKeys, text } = this.cards[record];
    document.getElementById("preset-title").textContent = `Preset ${group}-${number}: ${verdict}`;
    const doubt = doubtfulKeys ? ` Doubtful: ${inShort(doubtfulKeys)}.` : "";
    document.getElementById("preset-note").textContent = reason ? `Why: ${reason}.${doubt}` : "";
    document.getElementById("preset-text").textContent = text;
  }

  /** Brings a card into view, and the focus to it. */
  reveal(record) {
    this.choose(record);
    this.#buttons[record].focus({ preventScroll: true });
    this.#buttons[record].scrollIntoView({ block: "nearest" });
  }
}

/** A list of keys, or where they are many, how many. */
function inShort(keys) {
  const count = keys.split(", ").length;
  return count > 12 ? `${count} fields` : keys;
}
