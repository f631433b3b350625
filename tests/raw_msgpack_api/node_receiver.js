// A receiver of somebody else's making: the FluentServer of the npm package @fluent-org/logger.
//
// usage: node node_receiver.js PACKAGE_FOLDER OPTIONS_JSON
// Prints the port that it listens on, then the "n" of every record, one a line.
const { FluentServer } = require(process.argv[2]);
const fs = require('fs');

class Printer extends FluentServer {
  onEntry(tag, time, record) {
    fs.writeSync(1, `${tag} ${record.n}\n`);
  }
}

const options = JSON.parse(process.argv[3]);
if (options.tlsOptions) {
  for (const name of ['key', 'cert']) {
    options.tlsOptions[name] = fs.readFileSync(options.tlsOptions[name]);
  }
}
const server = new Printer({ ...options, listenOptions: { port: 0, host: '127.0.0.1' } });
server.listen().then(() => fs.writeSync(1, `${server.port}\n`));
