// Some 2,000 signals of 1 to 64 bits, of which about a tenth changes with each step.
module plot #(parameter int ID = 0) (input logic clk, input logic step,
                                          output logic [15:0] noise);
  logic        enable;
  logic        parity;
  logic [3:0]  phase;
  logic [7:0]  level;
  logic [31:0] sum;
  logic [63:0] product;
  initial begin
    noise = 16'(ID * 40503 + 1); enable = 0; parity = 0; phase = 0; level = 0; sum = 0; product = 1;
  end
  always_ff @(posedge clk) begin
    noise <= {noise[14:0], noise[15] ^ noise[13] ^ noise[12] ^ noise[10]};
    enable <= noise[1:0] == 2'd0;
    if (enable & step) begin
      parity <= ^noise;
      phase <= phase + 1;
      level <= level + noise[7:0];
      sum <= sum + 32'(noise);
      if (phase == 0) product <= product * 64'd6364136223846793005 + 64'(sum);
    end
  end
endmodule
module farm (input logic clk, input logic step, output logic [15:0] out);
  localparam int CELLS = 250;
  logic [15:0] noise [CELLS];
  generate
    for (genvar i = 0; i < CELLS; i++) begin : part
      plot #(.ID(i)) unit (.clk(clk), .step(step), .noise(noise[i]));
    end
  endgenerate
  assign out = noise[0] ^ noise[CELLS-1];
endmodule
