#!/usr/bin/env node
// A client that knows only the schema: queries, failures and push.
'use strict';

const assert = require('assert');
const fs = require('fs');
const grpc = require('@grpc/grpc-js');
const loader = require('@grpc/proto-loader');

const [address, certificates, descriptorSet] = process.argv.slice(2);
const read = (name) => fs.readFileSync(`${certificates}/${name}`);

const schema = grpc.loadPackageDefinition(
  loader.loadFileDescriptorSetFromBuffer(fs.readFileSync(descriptorSet), {
    keepCase: true, longs: Number, enums: String, arrays: true,
  }));
const credentials = grpc.credentials.createSsl(
  read('ca.pem'), read('client.key'), read('client.pem'));
const client = new schema.Pb.Rpc.SvcQuery.Query(address, credentials);

const call = (method, request) => new Promise((resolve, reject) => {
  client[method](request, { deadline: Date.now() + 30000 }, (error, response) =>
    error ? reject(error) : resolve(response));
});

async function query() {
  const ids = [];
  const take = (response) => {
    for (const pair of response.query_result.query_result_system_events.results) {
      ids.push(pair.event.this_id);
    }
  };
  let response = await call('Initiate', {
    query: {
      type: 'QUERY_TYPE_SYSTEM_EVENTS_TYPE',
      query_system_events_type: {
        time_begin: 0, time_end: 4102444800000, event_types: ['EVENT_ALL'],
      },
    },
  });
  take(response);
  const query_gid = response.query_result.gid;
  while (response.b_continue) {
    response = await call('Continue', { query_gid });
    take(response);
  }
  assert.deepStrictEqual(ids, Array.from({ length: 28 }, (_, i) => i + 1));
  return query_gid;
}

async function failures(query_gid) {
  await assert.rejects(call('Continue', { query_gid }), (error) =>
    error.code === grpc.status.UNKNOWN && error.details.includes('no query with the gid'));
}

const bytes = (buffer) => buffer;

function push() {
  return new Promise((resolve, reject) => {
    const stream = client.makeServerStreamRequest(
      '/Example.NotificationPush/Subscribe', bytes, bytes, Buffer.alloc(0));
    let received = 0;
    stream.on('data', () => {
      if (++received === 2) {
        stream.cancel();
        resolve();
      }
    });
    stream.on('error', (error) => (received >= 2 ? undefined : reject(error)));
  });
}

(async () => {
  await failures(await query());
  await push();
  client.close();
  console.log('Node client: all as expected');
})().catch((error) => {
  console.error(error);
  process.exit(1);
});
