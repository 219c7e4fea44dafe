// The program itself with its command serve, for tests of the page against it.
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { createInterface } from 'node:readline';
import { fileURLToPath } from 'node:url';

const PROGRAM = process.env.LIGHTING_HOST || 'LIGHTING_HOST says where the program is';
export const EXAMPLE_HOUSE = fileURLToPath(new URL('../../examples/house/house.xml', import.meta.url));

export class Program {
  // Starts it on that house; `port` 0 takes a free one.
  static async start(options = [], { house = EXAMPLE_HOUSE, port = 0 } = {}) {
    const program = new Program();
    const args = ['serve', house, '--listen', `127.0.0.1:${port}`, '--tell', 'quiet', ...options];
    program.process = spawn(PROGRAM, args, { stdio: ['ignore', 'ignore', 'pipe'] });
    program.ended = once(program.process, 'exit');
    program.told = [];
    program.url = await program.address();
    return program;
  }

  // Where it says that it listens.
  address() {
    return new Promise((found, failed) => {
      createInterface({ input: this.process.stderr }).on('line', line => {
        this.told.push(line);
        const url = line.match(/http:\/\/127\.0\.0\.1:\d+/);
        if (url) found(url[0]);
      });
      this.process.on('error', failed);
      this.process.on('exit', status => failed(new Error(`it ended with ${status}: ${this.told.join('\n')}`)));
    });
  }

  get port() { return Number(new URL(this.url).port); }

  // Hands a line in; gives what comes back, one object a line.
  async hand(line) {
    const reply = await fetch(`${this.url}/api/input`, { method: 'POST', body: JSON.stringify(line) });
    return (await reply.text()).split('\n').filter(Boolean).map(text => JSON.parse(text));
  }

  async snapshot() { return (await fetch(`${this.url}/api/house`)).json(); }

  async driver(name) { return (await this.snapshot()).drivers.find(d => d.name === name); }

  // Ends it as a person does with Ctrl-C.
  async close() {
    if (this.process.exitCode === null) this.process.kill('SIGINT');
    await this.ended;
  }
}
