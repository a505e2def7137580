const workerCode = document.getElementById("worker").textContent;
const workerUrl = URL.createObjectURL(new Blob([workerCode], { type: "text/javascript" }));

/** A worker with the core in it, which reads the recordings of one dump or one bank. */
export class Session {
  /** Never fulfilled; rejected when the session ends, with an AbortError where `end` was called. */
  over;

  #worker = new Worker(workerUrl);
  #fail;
  #waiting = new Map();
  #lastId = 0;

  constructor() {
    this.over = new Promise((_, reject) => (this.#fail = reject));
    this.over.catch(() => {}); // it is no error that nobody waits
    this.#worker.onmessage = ({ data: { id, result, error } }) => {
      const { resolve, reject } = this.#waiting.get(id);
      this.#waiting.delete(id);
      if (error) {
        reject(error.isMemory ? new RangeError(error.message) : new Error(error.message));
      } else {
        resolve(result);
      }
    };
    this.#worker.onerror = ({ message }) => this.#fail(new Error(message));
  }

  /** Calls a function of the worker; what is in `moved` goes there without a copy. */
  call(name, argument, moved = []) {
    const answer = new Promise((resolve, reject) => {
      const id = ++this.#lastId;
      this.#waiting.set(id, { resolve, reject });
      this.#worker.postMessage({ id, name, argument }, moved);
    });
    return Promise.race([answer, this.over]);
  }

  /** Ends the worker at once. */
  end() {
    this.#worker.terminate();
    this.#fail(new DOMException("cancelled", "AbortError"));
  }
}
